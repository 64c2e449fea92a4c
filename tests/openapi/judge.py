# SPDX-License-Identifier: MIT
"""Compares what a walk has seen with the description: each thing that does not fit is a line of text."""

import dataclasses
import json
import re

from description import METHODS

# What answers may hold, and the walk does not bring about or does not wait for.
NOT_AWAITED = {
    ("InfoText", "null"),
    ("Status/system_status", "null"),
    ("Status/reset_pressed", "null"),
    ("Status/reset_pressed_seconds", "null"),
    ("Event/state", '"NONE"'),
    ("Event/severity", '"INFO"'),
    ("Event/severity", '"ERROR"'),
    ("Debug/request", '"DIAG_REPORT"'),
    ("Debug/diagnostic_report", '"error"'),
}

# The answer to a method that no resource has seen.
PAGE = {"content": {"text/html": {"schema": {"$ref": "#/components/schemas/Page"}}}, "x-may-be-empty": True}

# Of HTTP itself.
PROTOCOL_HEADERS = {"content-type", "content-length", "transfer-encoding", "connection", "date"}


@dataclasses.dataclass
class Record:
    """What a walk has seen."""

    exchanges: list = dataclasses.field(default_factory=list)
    templates: set = dataclasses.field(default_factory=set)  # of the resources that are there, `*` for a parameter


class Judge:
    def __init__(self, description, record):
        self._description = description
        self._record = record
        self._seen = set()  # (template, METHOD, status)
        self._headers = set()  # of answers: names of components, or (template, METHOD, status, name)
        self._examples = set()  # (template, METHOD, name) of those that were taken
        self._taken = set()  # alternatives of schemas that were in an answer
        self._missing = {}  # whether a path answered 404 to the last GET
        self.findings = []
        self._compare_resources()
        for exchange in record.exchanges:
            self._judge(exchange)
        self._find_unseen()

    def _find(self, text):
        if text not in self.findings:
            self.findings.append(text)

    def _compare_resources(self):
        described = {re.sub(r"\{[^}]+\}", "*", template) for template in self._description.paths}
        for template in sorted(self._record.templates - described):
            self._find(f"{template}: is served and not described")
        for template in sorted(described - self._record.templates):
            self._find(f"{template}: is described and not served")

    def _judge(self, exchange):
        template, values = self._description.find(exchange.path)
        if template is None:
            if exchange.status not in (404, 501):
                self._find(f"{exchange.method} {exchange.path}: answers {exchange.status}, and no path is like it")
            return
        self._seen.add((template, exchange.method, exchange.status))
        if exchange.method == "GET":
            self._missing[exchange.path] = exchange.status == 404
        if self._description.operation(template, exchange.method) is None:
            self._judge_other_method(exchange, template)
        else:
            self._judge_operation(exchange, template, values)

    def _judge_other_method(self, exchange, template):
        statuses = self._description.other_statuses(template, exchange.method)
        where = f"{exchange.method} {template}"
        if exchange.status != statuses[-1 if self._missing.get(exchange.path) else 0]:
            self._find(f"{where}: answers {exchange.status}, which is not described")
        elif exchange.status == 200 and exchange.method != "HEAD":
            self._judge_content(exchange, self._description.response(template, "GET", 200), where)
        elif exchange.status == 501 or self._description.paths[template]["x-access-level"] == "none":
            self._judge_content(exchange, PAGE, where)
        elif exchange.body:
            self._find(f"{where}: {exchange.status} has a body")

    def _judge_operation(self, exchange, template, values):
        where = f"{exchange.method} {template}"
        response = self._description.response(template, exchange.method, exchange.status)
        if response is None:
            self._find(f"{where}: answers {exchange.status}, which is not described")
            return
        where += f": {exchange.status}"
        self._judge_headers(exchange, template, response, where)
        self._judge_content(exchange, response, where)
        self._judge_sent(exchange, template, where)
        if exchange.status < 300:
            self._judge_parameters(exchange, template, values, where)
            self._examples.add((template, exchange.method, exchange.example))

    def _judge_headers(self, exchange, template, response, where):
        described = {name.lower(): header for name, header in response.get("headers", {}).items()}
        for name, header in described.items():
            value = exchange.header(name)
            if value is not None:
                self._headers.add(header.get("$ref", (template, exchange.method, exchange.status, name)))
                for error in self._description.errors(self._description.resolve(header)["schema"], value):
                    self._find(f"{where}: header {name}: {error}")
            elif self._description.resolve(header).get("required"):
                self._find(f"{where}: has no header {name}")
        for name, _ in exchange.headers:
            if name.lower() not in described.keys() | PROTOCOL_HEADERS:
                self._find(f"{where}: header {name.lower()} is not described")

    def _judge_content(self, exchange, response, where):
        content = response.get("content", {})
        if not exchange.body:
            if content and not response.get("x-may-be-empty"):
                self._find(f"{where}: has no body")
            return
        media_type = exchange.header("Content-Type")
        if media_type not in content:
            self._find(f"{where}: has a body of {media_type}, which is not described")
            return
        is_json = media_type == "application/json"
        try:
            value = json.loads(exchange.body) if is_json else exchange.body.decode()
        except ValueError as error:
            self._find(f"{where}: the body is none of {media_type}: {error}")
            return
        schema = content[media_type]["schema"]
        for error in self._description.errors(schema, value):
            self._find(f"{where}: {error}")
        if self._never_taken(schema):
            self._taken |= self._description.taken(schema, value)

    def _never_taken(self, schema):
        """So far."""
        return self._description.alternatives(schema) - self._taken - NOT_AWAITED

    def _judge_sent(self, exchange, template, where):
        """What the schema allows is taken, and nothing else. Where no body is needed, one without an object is none."""
        body = self._description.body(template, exchange.method)
        if body is None or exchange.status in (401, 404, 409):
            return
        operation = self._description.operation(template, exchange.method)
        is_needed = self._description.resolve(operation["requestBody"]).get("required", False)
        if exchange.has_sent and exchange.is_json and (is_needed or isinstance(exchange.sent, dict)):
            errors = self._description.errors(body["schema"], exchange.sent)
        else:
            errors = ["a body of JSON is needed"] if is_needed else []
        if errors and exchange.status < 300:
            self._find(f"{where} for {exchange.sent!r}, which is not what is described: {errors[0]}")
        if not errors and exchange.status in (400, 500) and not exchange.depends_on_state:
            self._find(f"{where} for {exchange.sent!r}, which is as described")

    def _judge_parameters(self, exchange, template, values, where):
        for parameter in self._description.parameters(template, exchange.method):
            if parameter["in"] != "path":
                continue
            text = values[parameter["name"]]
            value = int(text) if re.fullmatch(r"-?\d+", text) else text
            for error in self._description.errors(parameter["schema"], value):
                self._find(f"{where}: parameter {parameter['name']}: {error}")

    def _find_unseen(self):
        for template in self._description.paths:
            for method in METHODS:
                operation = self._description.operation(template, method)
                if operation is None:
                    statuses = set(self._description.other_statuses(template, method))
                else:
                    statuses = {int(status) for status in operation["responses"]}
                for status in sorted(statuses):
                    self._find_unseen_parts(template, method, status)
        for template, method, _ in self._description.operations():
            for name in self._description.examples(template, method):
                if (template, method, name) not in self._examples:
                    self._find(f"{method} {template}: the example {name} was not taken")

    def _find_unseen_parts(self, template, method, status):
        if (template, method, status) not in self._seen:
            self._find(f"{method} {template}: {status} is described and was not answered")
            return
        response = self._description.response(template, method, status) or {}
        for name, header in response.get("headers", {}).items():
            if header.get("$ref", (template, method, status, name.lower())) not in self._headers:
                self._find(f"{method} {template}: {status}: the header {name} was never there")
        for content in response.get("content", {}).values():
            for place, text in sorted(self._never_taken(content["schema"])):
                self._find(f"{place}: {text} is described and was never answered")
