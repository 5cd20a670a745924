#!/usr/bin/python3
"""judge-schema.py VITREL MUTANTS SOURCE COUNT [SEED]: what the schema refuses of so many compositions with mistakes in
them, `vitrel make` must refuse: an editor may not underline what plays. The other way round it is told how many of the
refused ones the schema sees, and if these are few, that is a fault, too."""
import json
import pathlib
import subprocess
import sys

try:
    import jsonschema
except ImportError:
    sys.exit(77)

vitrel, mutants, source, count = sys.argv[1], sys.argv[2], pathlib.Path(sys.argv[3]), sys.argv[4]
schema = json.loads(subprocess.run([vitrel, "schema"], check=True, capture_output=True, text=True).stdout)
validator = jsonschema.Draft7Validator(schema)
folders = [str(source / folder) for folder in ("docs/patches", "examples/compositions")]
lines = subprocess.Popen([mutants, count, (sys.argv[5:] or ["1"])[0], *folders], stdout=subprocess.PIPE, text=True)
total = refused = seen = wrong = 0
for line in lines.stdout:
    mutant = json.loads(line)
    total += 1
    refused += mutant["refused"]
    error = next(validator.iter_errors(json.loads(mutant["text"])), None)
    if error is None:
        continue
    seen += mutant["refused"]
    if not mutant["refused"]:
        wrong += 1
        if wrong <= 10:
            place = "/".join(map(str, error.absolute_path))
            print(f"{mutant['from']}: only the schema refuses {place}: {error.message[:200]}\n  {mutant['text'][:2000]}")
print(f"{total} mutants, {refused} refused, {seen} of these by the schema; {wrong} by the schema alone")
sys.exit(lines.wait() != 0 or total != int(count) or wrong > 0 or seen < refused / 2)
