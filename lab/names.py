"""The names of the lab's tests, each with what it says of itself; those of the modules in ORBA_LAB_TESTS,
or of the lab in namespaces, in the folder of the tests.

  names.py [--json] [NAME...]
"""
import json
import os
import sys
import unittest


def tests_in(suite):
    for each in suite:
        yield from tests_in(each) if isinstance(each, unittest.TestSuite) else (each,)


as_json = "--json" in sys.argv[1:]
wanted = [word for word in sys.argv[1:] if word != "--json"]
sys.path.insert(0, os.getcwd())
loader = unittest.TestLoader()
modules = os.environ.get("ORBA_LAB_TESTS", "escape_test listing_test packet_test route_test").split()
known = list(tests_in(loader.loadTestsFromNames(modules)))
if loader.errors:
    sys.exit("orba lab: the tests cannot be read\n" + loader.errors[0])
names = {test.id(): test.shortDescription() or "" for test in known}
for name in wanted:
    if not any(f"{test}.".startswith(f"{name}.") for test in names):
        sys.exit(f"orba lab: there is no test '{name}'; 'orba lab test --list' names them")
chosen = {test: line for test, line in names.items() if not wanted or
          any(f"{test}.".startswith(f"{name}.") for name in wanted)}
if as_json:
    print(json.dumps([{"name": test, "line": line} for test, line in chosen.items()], indent=2))
else:
    for test, line in chosen.items():
        print(f"{test}  {line}".rstrip())
