# SPDX-License-Identifier: MIT
"""docs/openapi.yaml by itself. usage: description_test.py ROOT"""

import json
import pathlib
import re
import sys
import unittest

import jsonschema

from description import Description, METHODS

ROOT = pathlib.Path(sys.argv.pop(1))
DESCRIPTION = Description.read(ROOT / "docs" / "openapi.yaml")
NOBODY_ASKS = "none"
# A validator passes over what it does not know, a keyword with a slip of the pen as well.
SCHEMA_KEYWORDS = {"$ref", "description", "type", "enum", "const", "allOf", "anyOf", "if", "then",
                   "properties", "required", "additionalProperties", "unevaluatedProperties",
                   "items", "minItems", "maxItems", "minLength", "maxLength", "pattern",
                   "minimum", "maximum", "exclusiveMinimum", "exclusiveMaximum"}
EXTENSIONS = {"x-access-level", "x-may-be-empty", "x-other-methods"}


def nodes(node, path=()):
    """Every node of the document with its path."""
    yield path, node
    items = node.items() if isinstance(node, dict) else enumerate(node) if isinstance(node, list) else ()
    for key, value in items:
        yield from nodes(value, (*path, str(key)))


def references(document):
    return {node["$ref"] for _, node in nodes(document) if isinstance(node, dict) and "$ref" in node}


def schemas():
    """Every schema with its path, those inside of others as well."""
    for path, node in nodes(DESCRIPTION.document):
        if path[-1:] == ("schema",) or path[:2] == ("components", "schemas") and len(path) == 3:
            yield from schemas_in(node, path)


def schemas_in(schema, path):
    yield path, schema
    if isinstance(schema, dict):
        inner = list(schema.get("properties", {}).items())
        inner += [(key, schema[key]) for key in ("items", "if", "then") if key in schema]
        inner += [(key, part) for key in ("allOf", "anyOf") for part in schema.get(key, [])]
        for key, part in inner:
            yield from schemas_in(part, (*path, key))


def objects(schema):
    """Every object of an answer: the node, all its members and those that are required."""
    schema = DESCRIPTION.resolve(schema)
    parts = [schema, *map(DESCRIPTION.resolve, schema.get("allOf", []))]
    members = {name: node for part in parts for name, node in part.get("properties", {}).items()}
    if members:
        yield schema, set(members), {name for part in parts for name in part.get("required", [])}
    for inner in [*members.values(), *schema.get("anyOf", []), *([schema["items"]] if "items" in schema else [])]:
        yield from objects(inner)


class TheDescription(unittest.TestCase):
    def test_is_a_document_of_openapi_3_1(self):
        schema = json.loads(pathlib.Path(__file__).with_name("openapi_3.1_schema.json").read_text(encoding="utf-8"))

        errors = [f"{'/'.join(map(str, error.absolute_path))}: {error.message}"
                  for error in jsonschema.Draft202012Validator(schema).iter_errors(DESCRIPTION.document)]

        self.assertEqual(errors, [])

    def test_has_schemas_of_json_schema_2020_12_only(self):
        for path, node in schemas():
            with self.subTest("/".join(path)):
                jsonschema.Draft202012Validator.check_schema(node)
                self.assertEqual((node.keys() if isinstance(node, dict) else set()) - SCHEMA_KEYWORDS, set())

    def test_has_no_extensions_but_those_that_are_looked_at(self):
        keys = {key for _, node in nodes(DESCRIPTION.document) if isinstance(node, dict) for key in node}

        self.assertEqual({key for key in keys if key.startswith("x-")}, EXTENSIONS)

    def test_tells_all_members_of_every_answer(self):
        for path, node in nodes(DESCRIPTION.document):
            if path[-1:] == ("application/json",) and "requestBody" not in path and "requestBodies" not in path:
                for schema, members, required in objects(node["schema"]):
                    with self.subTest("/".join(path)):
                        self.assertEqual(members, required)
                        self.assertIn(False, (schema.get("additionalProperties"), schema.get("unevaluatedProperties")))

    def test_refers_to_what_there_is(self):
        for reference in references(DESCRIPTION.document):
            with self.subTest(reference):
                self.assertIsNotNone(DESCRIPTION.resolve({"$ref": reference}))

    def test_uses_all_of_its_components(self):
        components = DESCRIPTION.document["components"]
        there = {f"#/components/{kind}/{name}" for kind in components if kind != "securitySchemes"
                 for name in components[kind]}

        self.assertEqual(there - references(DESCRIPTION.document), set())

    def test_names_every_operation_once(self):
        names = [operation["operationId"] for _, _, operation in DESCRIPTION.operations()]

        self.assertEqual(sorted(names), sorted(set(names)))

    def test_names_every_parameter_of_a_path(self):
        for template, item in DESCRIPTION.paths.items():
            with self.subTest(template):
                described = [DESCRIPTION.resolve(node)["name"] for node in item.get("parameters", [])]
                self.assertEqual(re.findall(r"\{([^}]+)\}", template), described)

    def test_files_every_operation_under_a_tag_that_it_has(self):
        tags = {tag["name"] for tag in DESCRIPTION.document["tags"]}

        self.assertEqual({tag for _, _, operation in DESCRIPTION.operations() for tag in operation["tags"]}, tags)

    def test_has_examples_that_are_as_described(self):
        for path, node in nodes(DESCRIPTION.document):
            if isinstance(node, dict) and "schema" in node:
                values = [node["example"]] if "example" in node else []
                values += [example["value"] for example in node.get("examples", {}).values()]
                for value in values:
                    with self.subTest("/".join(path)):
                        self.assertEqual(DESCRIPTION.errors(node["schema"], value), [])

    def test_has_an_example_of_every_json_body(self):
        for path, node in nodes(DESCRIPTION.document):
            if path[-2:] == ("content", "application/json") and path[-3] not in ("400",):
                with self.subTest("/".join(path)):
                    self.assertTrue("example" in node or "examples" in node)

    def test_tells_the_version_of_the_project(self):
        project = (ROOT / "CMakeLists.txt").read_text(encoding="utf-8")

        self.assertIn(f"VERSION {DESCRIPTION.document['info']['version']} ", project)

    def test_tells_the_levels_of_the_access_map_for_trying(self):
        rules = json.loads((ROOT / "etc" / "accessmap.json").read_text(encoding="utf-8"))
        for template, item in DESCRIPTION.paths.items():
            for method in ("GET", "PUT", "POST", "DELETE"):
                levels = [levels[method] for rule, levels in rules.items() if re.match(rule, template)]
                with self.subTest(f"{method} {template}"):
                    self.assertEqual(item["x-access-level"], max(levels, default=NOBODY_ASKS))


class ADescription(unittest.TestCase):
    def test_is_refused_with_a_key_that_is_there_twice(self):
        with self.assertRaisesRegex(ValueError, "line 2: b is there twice"):
            Description.load("a:\n  b: 1\n  c: 2\n  b: 3\n")


class TheTableOfApiMd(unittest.TestCase):
    """The readable text and the description say the same. 401, which every resource has, is not in the table."""

    def rows(self):
        for line in (ROOT / "docs" / "api.md").read_text(encoding="utf-8").splitlines():
            cells = [cell.strip() for cell in line.strip("|").split("|")]
            if line.startswith("|") and len(cells) == 5 and re.search(r"\d{3}", cells[1]):
                yield cells

    def templates(self, cell):
        """The paths that a cell names: `.../log` stands beside the one before."""
        found = []
        for path in re.findall(r"`([^`]+)`", cell):
            if path.startswith(".../"):
                count = len(path.removeprefix("...").split("/")) - 1
                path = "/".join(found[-1].split("/")[:-count]) + path.removeprefix("...")
            found.append(path)
        return [self.described(path.replace("/subscriptions/system...", "/subscriptions/ID")) for path in found]

    def described(self, path):
        return next((template for template in DESCRIPTION.paths
                     if re.sub(r"\{[^}]+\}", "ID", template) == path), None)

    def test_names_every_resource(self):
        named = {template for cells in self.rows() for template in self.templates(cells[0])}
        api = {template for template in DESCRIPTION.paths
               if not template.startswith("/example/subscriptions")
               and DESCRIPTION.paths[template].keys() & {method.lower() for method in METHODS}}

        self.assertEqual(named, api)

    def test_has_the_statuses_of_the_description(self):
        for cells in self.rows():
            for template in self.templates(cells[0]):
                for method, cell in zip(("GET", "PUT", "POST", "DELETE"), cells[1:]):
                    operation = DESCRIPTION.operation(template, method)
                    described = ({int(status) for status in operation["responses"]} - {401} if operation
                                 else set(DESCRIPTION.other_statuses(template, method)))
                    with self.subTest(f"{method} {template}"):
                        if cell == "as GET":
                            self.assertEqual(described, {200})
                        else:
                            self.assertEqual({int(status) for status in re.findall(r"\d{3}", cell)}, described)


if __name__ == "__main__":
    unittest.main()
