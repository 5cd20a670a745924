#!/usr/bin/python3
"""check-schema.py VITREL SOURCE SAMPLES: the schema that vitrel prints is one, takes every composition that is at hand
(those of files as `inspect --source` gives them) and refuses what can't have been meant, each for its own reason."""
import copy
import json
import pathlib
import subprocess
import sys

try:
    import jsonschema
except ImportError:
    sys.exit(77)

VITREL, SOURCE, SAMPLES = sys.argv[1], pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3])


def printed(*words):
    return subprocess.run([VITREL, *words], check=True, capture_output=True, text=True).stdout


def read(path):
    return json.loads("\n".join(line for line in path.read_text().splitlines() if not line.startswith("//")))


schema = json.loads(printed("schema"))
jsonschema.Draft7Validator.check_schema(schema)
validator = jsonschema.Draft7Validator(schema)
bad = 0


def leaves(error):
    if not error.context:
        yield error
    for inner in error.context or []:
        yield from leaves(inner)


def reasons(text):
    return [("/".join(map(str, leaf.absolute_path)), leaf.validator, leaf.message)
            for error in validator.iter_errors(text) for leaf in leaves(error)]


def miss(what):
    global bad
    bad += 1
    print(what, file=sys.stderr)


taken = 0
for folder in ("docs/patches", "docs/patches/beside", "examples/compositions", "examples/authoring", "resources/compositions"):
    for path in sorted((SOURCE / folder).glob("*.json")):
        for reason in reasons(read(path))[:3]:
            miss(f"{path}: {reason}")
        taken += 1
for path in sorted(SAMPLES.glob("compositions/*.qtz")):
    text = json.loads(printed("inspect", "--source", str(path)))
    for reason in reasons(text)[:3]:
        miss(f"{path}: {reason}")
if taken < 250:
    miss(f"only {taken} compositions found")

GOOD = {
    "$schema": "vitrel.schema.json",
    "inputs": {"Name": "Title.inputString", "Odd": ["A.b", "c"]},
    "values": {"Name": "x"},
    "options": {"Name": {"title": "Words", "meaning": "What", "unit": "s", "min": 1, "max": 2.5, "labels": ["a", "-"]}},
    "outputs": {"Out": "Wave.outputValue"},
    "patches": {
        "Title": {"class": "QCTextImage", "inputs": {"inputString": {"lines": ["a", "b"]}, "inputGlyphSize": {"real": "nan"}},
                  "settings": {"manualLayout": 1, "horizontalAlignment": "Normal", "timebase": "external"}},
        "Wave": {"class": "QCLFO", "inputs": {"inputType": 99, "inputPeriod": -1, "_time": 0}},
        "Clear": {"class": "QCClear", "inputs": {"inputColor": "#10152240", "_enable": True}},
        "Hand": {"class": "QCSplitter", "inputs": {"input": {"image": "a.png"}}, "settings": {"portClass": "QCImagePort"}},
        "Blur": {"class": "QCImageFilter/CIGaussianBlur", "inputs": {"inputRadius": True}},
        "Crop": {"class": "QCImageFilter", "identifier": "CICrop", "inputs": {"inputRectangle_X": 5}},
        "Ball": {"class": "QCQuadric", "identifier": "sphere", "inputs": {"inputScale": 1}},
        "Ball 2": {"class": "QCQuadric", "settings": {"identifier": "sphere"}, "inputs": {"inputScale": 1}},
        "Box": {"class": "QCCamera", "inputs": {"inputScaleX": 2, "Inner": "In.inputX"}, "values": {"Inner": 3},
                "patches": {"In": {"class": "QCSprite", "inputs": {"inputColor": {"red": 1, "green": 0, "blue": 0}}}}},
        "Formula": {"class": "QCExpression", "inputs": {"anything": 1}, "settings": {"expression": "anything"}},
        "Own": {"class": "/mine", "inputs": {"what": "ever"}},
        "Old": {"class": "NobodyKnows", "inputs": {"x": None}, "settings": {"y": []}, "raw": {}}},
    "connections": ["Wave.outputValue > Clear._enable", ["A.b", "c", "d", "e"]],
    "virtualPatches": {"/mine": {"patches": {}}}}
for reason in reasons(GOOD):
    miss(f"refused: {reason}")

# Where, what is put there (nothing: taken away), the place and the rule that must refuse it.
NONE = object()
BROKEN = [
    ("patches", NONE, "", "required"),
    ("patchs", {}, "", "additionalProperties"),
    ("patches/Wave/input", {}, "patches/Wave", "additionalProperties"),
    ("patches/Wave/class", NONE, "patches/Wave", "required"),
    ("patches/Wave/class", "QCLFOs", "patches/Wave/class", "pattern"),
    ("patches/Wave/class", 5, "patches/Wave/class", "type"),
    ("patches/Blur/class", "QCImageFilter/CIGausianBlur", "patches/Blur/class", "pattern"),
    ("patches/Wave/inputs/inputPeriode", 1, "patches/Wave/inputs", "additionalProperties"),
    ("patches/Wave/inputs/_enable", True, "patches/Wave/inputs", "additionalProperties"),
    ("patches/Ball/inputs/inputHeight", 1, "patches/Ball/inputs", "additionalProperties"),
    ("patches/Crop/inputs/inputRadius", 1, "patches/Crop/inputs", "additionalProperties"),
    ("patches/Wave/inputs/inputPeriod", "8", "patches/Wave/inputs/inputPeriod", "type"),
    ("patches/Wave/inputs/inputType", -1, "patches/Wave/inputs/inputType", "minimum"),
    ("patches/Wave/inputs/inputType", 1.5, "patches/Wave/inputs/inputType", "type"),
    ("patches/Clear/inputs/_enable", 2, "patches/Clear/inputs/_enable", "enum"),
    ("patches/Clear/inputs/inputColor", "#1015", "patches/Clear/inputs/inputColor", "pattern"),
    ("patches/Clear/inputs/inputColor", {"red": 1}, "patches/Clear/inputs/inputColor", "required"),
    ("patches/Hand/inputs/input", None, "patches/Hand/inputs/input", "not"),
    ("patches/Blur/inputs/inputImage", "a.png", "patches/Blur/inputs/inputImage", "type"),
    ("patches/Title/inputs/inputString", [], "patches/Title/inputs/inputString", "type"),
    ("patches/Title/inputs/inputString", {"lines": "a"}, "patches/Title/inputs/inputString/lines", "type"),
    ("patches/Title/inputs/inputGlyphSize", {"real": "many"}, "patches/Title/inputs/inputGlyphSize/real", "enum"),
    ("patches/Title/settings/manualLayout", "yes", "patches/Title/settings/manualLayout", "enum"),
    ("patches/Title/settings/horizontalAlignment", "Left", "patches/Title/settings/horizontalAlignment", "enum"),
    ("patches/Title/settings/timebase", "own", "patches/Title/settings/timebase", "enum"),
    ("patches/Title/settings/fontsize", 1, "patches/Title/settings", "additionalProperties"),
    ("patches/Formula/inputs/anything", "x", "patches/Formula/inputs/anything", "type"),
    ("patches/Box/inputs/Inner", 5, "patches/Box/inputs/Inner", "type"),
    ("patches/Box/patches/In/inputs/inputW", 5, "patches/Box/patches/In/inputs", "additionalProperties"),
    ("patches/Old/raw", NONE, "patches/Old/class", "pattern"),
    ("patches/Old/patches", [], "patches/Old/patches", "type"),
    ("options/Name/min", "1", "options/Name/min", "type"),
    ("options/Name/name", "x", "options/Name", "additionalProperties"),
    ("options/Name/labels/0", 1, "options/Name/labels/0", "type"),
    ("inputs/Depth", 5, "inputs/Depth", "type"),
    ("outputs/Out", "Wave", "outputs/Out", "pattern"),
    ("connections/0", "Wave.outputValue - Clear._enable", "connections/0", "pattern"),
    ("virtualPatches/mine", {"patches": {}}, "virtualPatches", "additionalProperties"),
    ("virtualPatches/~mine/connections", {}, "virtualPatches//mine/connections", "type"),
]
for where, what, place, rule in BROKEN:
    text = copy.deepcopy(GOOD)
    *way, last = [part.replace("~", "/") for part in where.split("/")]
    at = text
    for part in way:
        at = at[int(part) if isinstance(at, list) else part]
    last = int(last) if isinstance(at, list) else last
    if what is NONE:
        del at[last]
    else:
        at[last] = what
    found = reasons(text)
    if not any((path, name) == (place, rule) for path, name, _ in found):
        miss(f"{where} = {what}: not refused at {place} for {rule}, but {found[:4]}")
sys.exit(1 if bad else 0)
