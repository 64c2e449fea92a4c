"""docs/openapi.yaml as the tests need it: references followed, paths found, values validated."""

import re

import jsonschema
import yaml

METHODS = ("GET", "PUT", "POST", "DELETE", "HEAD", "OPTIONS", "PATCH", "TRACE")
_SCHEMAS = "#/components/schemas/"


class Description:
    """One description. The document is kept as it is; nobody changes it afterwards."""

    def __init__(self, document):
        self.document = document

    @staticmethod
    def read(path):
        with open(path, encoding="utf-8") as file:
            return Description(yaml.safe_load(file))

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
        for template in sorted(self.paths, key=lambda text: text.count("{")):
            values = match(template, path)
            if values is not None:
                return template, values
        return None, None

    def errors(self, schema, value):
        """What is wrong with the value, as texts."""
        found = jsonschema.Draft202012Validator(self.standalone(schema)).iter_errors(value)
        return [f"{'/'.join(map(str, error.absolute_path)) or 'the value'}: {error.message}" for error in found]

    def standalone(self, schema):
        """The schema with all that it may refer to."""
        if not isinstance(schema, dict):
            return schema
        schemas = self.document["components"]["schemas"]
        return {**_local(schema), "$defs": {name: _local(node) for name, node in schemas.items()}}


def _local(node):
    if isinstance(node, list):
        return [_local(item) for item in node]
    if not isinstance(node, dict):
        return node
    return {key: "#/$defs/" + value.removeprefix(_SCHEMAS) if key == "$ref" else _local(value)
            for key, value in node.items()}


def match(template, path):
    """The parameters of the path by name, or None. The one of a subscription holds the slashes of a path."""
    pattern = ""
    for part in re.split(r"(\{[^}]+\})", template):
        if part.startswith("{"):
            segment = ".+" if part == "{resource}" else "[^/]+"
            pattern += f"(?P<{part[1:-1]}>{segment})"
        else:
            pattern += re.escape(part)
    found = re.fullmatch(pattern, path)
    return found.groupdict() if found else None
