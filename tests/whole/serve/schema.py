"""Holds values against the schemas of the interface's description, as far as that one uses them."""
import re

TYPES = {"object": dict, "array": list, "string": str, "boolean": bool, "null": type(None)}
KNOWN = {"$ref", "type", "properties", "required", "additionalProperties", "enum", "const", "items", "minItems",
         "maxItems", "minimum", "maximum", "pattern", "maxLength", "anyOf", "oneOf", "allOf", "description"}


class Mismatch(AssertionError):
    pass


def isOfType(value, name):
    if name == "integer":
        return isinstance(value, int) and not isinstance(value, bool)
    if name == "number":
        return isinstance(value, (int, float)) and not isinstance(value, bool)
    return isinstance(value, TYPES[name])


class Schemas:
    def __init__(self, document):
        self.document = document

    def resolve(self, schema):
        if "$ref" not in schema:
            return schema
        found = self.document
        for part in schema["$ref"].removeprefix("#/").split("/"):
            found = found[part]
        return self.resolve(found)

    def check(self, schema, value, place="body"):
        schema = self.resolve(schema)
        unknown = set(schema) - KNOWN
        if unknown:
            raise Mismatch(f"{place}: the schema has words that are not known here: {unknown}")
        self.checkChoices(schema, value, place)
        names = schema.get("type", [])
        names = [names] if isinstance(names, str) else names
        if names and not any(isOfType(value, name) for name in names):
            raise Mismatch(f"{place}: {value!r} is not of type {names}")
        if "enum" in schema and value not in schema["enum"]:
            raise Mismatch(f"{place}: {value!r} is none of {schema['enum']}")
        if "const" in schema and value != schema["const"]:
            raise Mismatch(f"{place}: {value!r} is not {schema['const']!r}")
        if isinstance(value, dict):
            self.checkObject(schema, value, place)
        elif isinstance(value, list):
            self.checkList(schema, value, place)
        elif isinstance(value, str):
            self.checkText(schema, value, place)
        elif value is not None and not isinstance(value, bool):
            if value < schema.get("minimum", value) or value > schema.get("maximum", value):
                raise Mismatch(f"{place}: {value} is out of range")

    def checkChoices(self, schema, value, place):
        for each in schema.get("allOf", []):
            self.check(each, value, place)
        for word in ("anyOf", "oneOf"):
            if word not in schema:
                continue
            fitting = [each for each in schema[word] if self.fits(each, value, place)]
            if not fitting or word == "oneOf" and len(fitting) != 1:
                raise Mismatch(f"{place}: {len(fitting)} of {word} fit {str(value)[:200]}")

    def fits(self, schema, value, place):
        try:
            self.check(schema, value, place)
            return True
        except Mismatch:
            return False

    def checkObject(self, schema, value, place):
        for name in schema.get("required", []):
            if name not in value:
                raise Mismatch(f"{place}: {name} is missing")
        for name, member in value.items():
            if name in schema.get("properties", {}):
                self.check(schema["properties"][name], member, f"{place}/{name}")
            elif schema.get("additionalProperties") is False:
                raise Mismatch(f"{place}: {name} is not described")

    def checkList(self, schema, value, place):
        if not schema.get("minItems", 0) <= len(value) <= schema.get("maxItems", len(value)):
            raise Mismatch(f"{place}: has {len(value)} elements")
        for index, each in enumerate(value):
            if "items" in schema:
                self.check(schema["items"], each, f"{place}/{index}")

    @staticmethod
    def checkText(schema, value, place):
        if "pattern" in schema and not re.search(schema["pattern"], value):
            raise Mismatch(f"{place}: {value!r} does not fit {schema['pattern']}")
        if len(value) > schema.get("maxLength", len(value)):
            raise Mismatch(f"{place}: is too long")


class Contract:
    """The description of the interface: every answer is held against it."""

    def __init__(self, document):
        self.document = document
        self.schemas = Schemas(document)
        self.called = set()  # operations that were answered well

    def operations(self):
        return {(method.upper(), path) for path, methods in self.document["paths"].items() for method in methods}

    def find(self, method, path):
        for template, methods in self.document["paths"].items():
            pattern = re.escape(template).replace(r"\{id\}", r"[0-9]+")
            if re.fullmatch(pattern, path) and method.lower() in methods:
                return template, methods[method.lower()]
        raise Mismatch(f"{method} {path} is not described")

    def checkAnswer(self, method, path, sent, answer):
        template, operation = self.find(method, path)
        described = operation["responses"].get(str(answer.status))
        if described is None and answer.status >= 400:
            described = operation["responses"]["default"]
        if described is None:
            raise Mismatch(f"{method} {path}: status {answer.status} is not described")
        for name in described.get("headers", {}):
            if name not in answer.headers:
                raise Mismatch(f"{method} {path}: the header {name} is missing")
        content = described.get("content", {})
        kind = (answer.headers.get("Content-Type") or "").split(";")[0]
        if content and kind not in content:
            raise Mismatch(f"{method} {path}: {kind!r} is not described")
        if content and "schema" in content[kind]:
            self.schemas.check(content[kind]["schema"], answer.json())
        if answer.status < 400:
            self.checkRequest(operation, path, sent)
            self.called.add((method, template))

    def checkRequest(self, operation, path, sent):
        """What was taken must be described as well."""
        content = operation.get("requestBody", {}).get("content", {})
        if "application/json" in content:
            self.schemas.check(content["application/json"]["schema"], sent, path)
        elif not content and sent is not None:
            raise Mismatch(f"{path}: a body is not described")

    def checkEvent(self, event):
        self.schemas.check({"$ref": "#/components/schemas/Event"}, event, "event")
