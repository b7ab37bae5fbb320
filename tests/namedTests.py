"""Every test that a document names as `Suite.Name` exists: namedTests.py DOCUMENT TESTS, the folder of all tests."""

import pathlib
import re
import sys

DECLARATION = re.compile(r"\b(?:TEST|TEST_F|TEST_P|TYPED_TEST|TYPED_TEST_P|RC_GTEST_PROP)\(\s*(\w+),\s*(\w+)")
NAME = re.compile(r"`([A-Z]\w+)\.([A-Z]\w+)`")


def main(document, folder):
    declared = {match for path in pathlib.Path(folder).rglob("*.cpp")
                for match in DECLARATION.findall(path.read_text())}
    named = set(NAME.findall(pathlib.Path(document).read_text()))
    assert named, f"{document} names no test"
    missing = [".".join(name) for name in sorted(named - declared)]
    assert not missing, f"{document} names tests that do not exist: {', '.join(missing)}"
    print(f"{len(named)} tests are named")


if __name__ == "__main__":
    main(*sys.argv[1:])
