"""Holds the JSON of the tool against its schema, docs/tool-schema.json, with every member that the schema does not name
as an error: what the tool prints is documented whole."""
import copy
import json

from pathlib import Path

import jsonschema

DOCS = Path(__file__).resolve().parents[3] / "docs"
SCHEMA = json.loads((DOCS / "tool-schema.json").read_text())

def strict(schema):
    """The same, with no member beside those that it names."""
    if isinstance(schema, dict):
        made = {key: strict(value) for key, value in schema.items()}
        if "properties" in made and made.get("type") in ("object", ["object", "null"]) and "$defs" not in made:
            made.setdefault("additionalProperties", False)
        return made
    return [strict(each) for each in schema] if isinstance(schema, list) else copy.deepcopy(schema)

jsonschema.Draft202012Validator.check_schema(SCHEMA)
VALIDATOR = jsonschema.Draft202012Validator(strict(SCHEMA))

def problems(value):
    """Sentences about what is not as it is documented."""
    for error in VALIDATOR.iter_errors(value):
        for cause in [error, *error.context]:
            yield f"{'/'.join(map(str, cause.absolute_path))}: {cause.message}"[:300]

def problemsOfLines(text):
    """Of output that must be JSON, one object a line."""
    lines = text.splitlines()
    if not lines:
        yield "there is no JSON"
    for line in lines:
        try:
            value = json.loads(line)
        except ValueError as problem:
            yield f"{problem}: {line[:200]!r}"
            continue
        yield from problems(value)

def commands():
    """The commands that the schema knows."""
    return {name for name in SCHEMA["properties"]["command"]["enum"] if name}
