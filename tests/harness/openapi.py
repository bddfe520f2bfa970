# SPDX-License-Identifier: Apache-2.0
"""A description of an interface (OpenAPI 3.0), and whether what was answered is as it says.

Of the schema language as much as the description uses; a word that is not known here is a failure,
so that nothing in the description goes unchecked.
"""

import datetime
import json
import re

WORDS = {"type", "description", "required", "properties", "additionalProperties", "items", "enum",
         "nullable", "minimum", "maximum", "minItems", "maxItems", "maxLength", "pattern", "format",
         "default", "allOf", "$ref"}
TYPES = {"object": dict, "array": list, "string": str, "integer": int, "number": (int, float),
         "boolean": bool}


class Description:
    def __init__(self, path):
        self._document = json.loads(path.read_text())

    def operations(self):
        """(METHOD, path) of each."""
        for path, item in self._document["paths"].items():
            for word in item:
                if word != "parameters":
                    yield word.upper(), path

    def _operation(self, method, path):
        return self._document["paths"][path][method.lower()]

    def statuses(self, method, path):
        return {int(status) for status in self._operation(method, path)["responses"]}

    def parameters(self, method, path):
        """(where, name) of each."""
        both = (self._document["paths"][path].get("parameters", [])
                + self._operation(method, path).get("parameters", []))
        return {(one["in"], one["name"]) for one in map(self._resolved, both)}

    def is_open(self, method, path):
        return self._operation(method, path).get("security") == []

    def headers(self, method, path, status):
        return set(self._answer(method, path, status).get("headers", {}))

    def notices(self):
        """The events of the stream."""
        return self._answer("GET", "/api/v1/stream", 200)["x-events"]

    def check_answer(self, method, path, status, content_type, text):
        """Whether the answer's body is what the description promises for this status."""
        where = f"{method} {path}: {status}"
        content = self._answer(method, path, status).get("content")
        if content is None:
            assert text == b"", f"{where}: a body that is not described"
            return
        kind = content_type.partition(";")[0]
        assert kind in content, f"{where}: {content_type} is not described"
        if kind == "application/json":
            self.check(content[kind]["schema"], json.loads(text), where)

    def _answer(self, method, path, status):
        return self._resolved(self._operation(method, path)["responses"][str(status)])

    def _resolved(self, part):
        while "$ref" in part:
            target = self._document
            for name in part["$ref"].removeprefix("#/").split("/"):
                target = target[name]
            part = target
        return part

    def check(self, schema, value, where):
        """Fails with the place where the value is not what the schema says."""
        schema = self._resolved(schema)
        unknown = set(schema) - WORDS
        assert not unknown, f"{where}: words of the schema that nobody checks: {unknown}"
        if value is None and schema.get("nullable"):
            return
        for part in schema.get("allOf", []):
            self.check(part, value, where)
        if "type" in schema:
            self._check_type(schema, value, where)
        if "enum" in schema:
            assert value in schema["enum"], f"{where}: {value!r} is none of {schema['enum']}"

    def _check_type(self, schema, value, where):
        kind = schema["type"]
        fits = isinstance(value, TYPES[kind]) and (kind == "boolean" or not isinstance(value, bool))
        assert fits, f"{where}: {value!r} is no {kind}"
        if kind == "object":
            self._check_object(schema, value, where)
        elif kind == "array":
            assert schema.get("minItems", 0) <= len(value) <= schema.get("maxItems", len(value)), where
            for number, item in enumerate(value):
                self.check(schema["items"], item, f"{where}[{number}]")
        elif kind == "string":
            self._check_string(schema, value, where)
        elif kind in ("integer", "number"):
            assert schema.get("minimum", value) <= value <= schema.get("maximum", value), (
                f"{where}: {value} is out of range")

    def _check_object(self, schema, value, where):
        missing = set(schema.get("required", [])) - set(value)
        assert not missing, f"{where}: {missing} missing"
        properties = schema.get("properties", {})
        if schema.get("additionalProperties") is False:
            assert not set(value) - set(properties), f"{where}: {set(value) - set(properties)}"
        for name, member in value.items():
            if name in properties:
                self.check(properties[name], member, f"{where}.{name}")

    @staticmethod
    def _check_string(schema, value, where):
        assert len(value) <= schema.get("maxLength", len(value)), f"{where}: too long"
        if "pattern" in schema:
            assert re.search(schema["pattern"], value), f"{where}: {value!r}"
        if schema.get("format") == "date-time":
            datetime.datetime.fromisoformat(value.replace("Z", "+00:00"))
