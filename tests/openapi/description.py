# SPDX-License-Identifier: MIT
"""docs/openapi.yaml as the tests need it: references followed, paths found, values validated."""

import functools
import json
import re

import jsonschema
import yaml

METHODS = ("GET", "PUT", "POST", "DELETE", "HEAD", "OPTIONS", "PATCH", "TRACE")
_SCHEMAS = "#/components/schemas/"


class _Loader(yaml.SafeLoader):
    """Of two equal keys YAML would take the last one."""

    def construct_mapping(self, node, deep=False):
        keys = [self.construct_object(key, deep=True) for key, _ in node.value]
        for key in keys:
            if keys.count(key) > 1:
                raise ValueError(f"line {node.start_mark.line + 1}: {key} is there twice")
        return super().construct_mapping(node, deep)


class Description:
    """One description. The document is kept as it is; nobody changes it afterwards."""

    def __init__(self, document):
        self.document = document
        self._schemas = json.dumps({name: _local(node) for name, node in document["components"]["schemas"].items()})
        self._found = {}

    @staticmethod
    def read(path):
        with open(path, encoding="utf-8") as file:
            return Description(Description.load(file))

    @staticmethod
    def load(text):
        """The document of a text or a file."""
        return yaml.load(text, _Loader)

    @property
    def paths(self):
        return self.document["paths"]

    def resolve(self, node):
        """The node behind a reference, with what stands beside the reference."""
        if not isinstance(node, dict) or "$ref" not in node:
            return node
        target = self.document
        for name in node["$ref"].removeprefix("#/").split("/"):
            target = target[name]
        return {**self.resolve(target), **{key: value for key, value in node.items() if key != "$ref"}}

    def operations(self):
        """Each (template, METHOD, operation)."""
        for template, item in self.paths.items():
            for method in METHODS:
                if method.lower() in item:
                    yield template, method, item[method.lower()]

    def operation(self, template, method):
        return self.paths.get(template, {}).get(method.lower())

    def response(self, template, method, status):
        """None for a status that is not described."""
        operation = self.operation(template, method)
        found = operation and operation["responses"].get(str(status))
        return self.resolve(found) if found else None

    def parameters(self, template, method):
        """Those of the path and of the operation."""
        operation = self.operation(template, method) or {}
        return [self.resolve(node) for node in
                self.paths[template].get("parameters", []) + operation.get("parameters", [])]

    def other_statuses(self, template, method):
        """How a method that is not described is answered at this path."""
        default = self.document["x-other-methods"]
        return self.paths[template].get("x-other-methods", {}).get(method, default[method])

    def body(self, template, method):
        """The JSON part of a described request body: schema and examples; None without one."""
        operation = self.operation(template, method) or {}
        if "requestBody" not in operation:
            return None
        return self.resolve(operation["requestBody"])["content"]["application/json"]

    def examples(self, template, method):
        """The values of the examples of a request body, by name."""
        body = self.body(template, method) or {}
        return {name: example["value"] for name, example in body.get("examples", {}).items()}

    def find(self, path):
        """The template that a path without its query belongs to, with the texts of its parameters; or None, None."""
        if path not in self._found:
            templates = sorted(self.paths, key=lambda text: text.count("{"))
            matches = ((template, match(template, path)) for template in templates)
            self._found[path] = next((found for found in matches if found[1] is not None), (None, None))
        return self._found[path]

    def errors(self, schema, value):
        """What is wrong with the value, as texts."""
        return _errors(self._schemas, json.dumps(schema), json.dumps(value))

    def alternatives(self, schema):
        """Each value of an enum and each type of a list of types that the schema allows: (place, text)."""
        return _alternatives(self._schemas, json.dumps(schema), None)

    def taken(self, schema, value):
        """Those that the value makes use of."""
        return _alternatives(self._schemas, json.dumps(schema), json.dumps(value))

    def standalone(self, schema):
        """The schema with all that it may refer to."""
        return _standalone(self._schemas, json.dumps(schema))


def _standalone(schemas, schema):
    schema = _local(json.loads(schema))
    return {**schema, "$defs": json.loads(schemas)} if isinstance(schema, dict) else schema


@functools.cache
def _validator(schemas, schema):
    return jsonschema.Draft202012Validator(_standalone(schemas, schema))


# Texts, because they can be remembered: the answers are much alike, and so are descriptions.
@functools.cache
def _errors(schemas, schema, value):
    return [f"{'/'.join(map(str, error.absolute_path)) or 'the value'}: {error.message}"
            for error in _validator(schemas, schema).iter_errors(json.loads(value))]


@functools.cache
def _alternatives(schemas, schema, value):
    gathered = _Alternatives(json.loads(schemas))
    if value is None:
        gathered.gather(_local(json.loads(schema)), "")
    else:
        gathered.gather(_local(json.loads(schema)), "", [json.loads(value)])
    return frozenset(gathered.found)


def _type_of(value):
    names = {str: "string", bool: "boolean", int: "integer", float: "number", type(None): "null", list: "array",
             dict: "object"}
    return names[type(value)]


class _Alternatives:
    """Goes through a schema, or through a schema along some values. A place begins with the name of its schema."""

    def __init__(self, schemas):
        self._schemas = schemas
        self.found = set()

    def gather(self, schema, place, values=None):
        if "$ref" in schema:
            name = schema["$ref"].removeprefix("#/$defs/")
            self.gather(self._schemas[name], name, values)
        options = {json.dumps(option) for option in schema.get("enum", [])}
        self._add(options, place, values and {json.dumps(value) for value in values})
        types = schema.get("type")
        self._add(set(types) if isinstance(types, list) else set(), place,
                  values and {_type_of(value) for value in values})
        for part in schema.get("allOf", []) + schema.get("anyOf", []):
            self.gather(part, place, values)
        for name, part in schema.get("properties", {}).items():
            inner = values and [value[name] for value in values if isinstance(value, dict) and name in value]
            if inner != []:
                self.gather(part, f"{place}/{name}", inner)
        if "items" in schema:
            inner = values and [item for value in values if isinstance(value, list) for item in value]
            if inner != []:
                self.gather(schema["items"], f"{place}/*", inner)

    def _add(self, options, place, used):
        self.found.update((place, option) for option in (options if used is None else options & used))


def _local(node):
    if isinstance(node, list):
        return [_local(item) for item in node]
    if not isinstance(node, dict):
        return node
    return {key: "#/$defs/" + value.removeprefix(_SCHEMAS) if key == "$ref" else _local(value)
            for key, value in node.items()}


def match(template, path):
    """The parameters of the path by name, or None. That of a subscription is a path, with slashes."""
    pattern = ""
    for part in re.split(r"(\{[^}]+\})", template):
        if part.startswith("{"):
            segment = ".+" if part == "{resource}" else "[^/]+"
            pattern += f"(?P<{part[1:-1]}>{segment})"
        else:
            pattern += re.escape(part)
    found = re.fullmatch(pattern, path)
    return found.groupdict() if found else None
