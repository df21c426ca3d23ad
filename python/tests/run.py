"""Runs pytest for ctest: exit code 77, with the reason, where a package is missing that all of the tests need.

Usage: run.py PYTEST_ARGUMENT...
"""

import sys

SKIPPED = 77

for module, package in (("pytest", "python3-pytest"), ("numpy", "python3-numpy")):
    try:
        __import__(module)
    except ImportError:
        print(f"skipped: {package} isn't installed")
        sys.exit(SKIPPED)

import pytest  # noqa: E402

result = pytest.main(["-q", "-p", "no:cacheprovider", "-rs", *sys.argv[1:]])
sys.exit(SKIPPED if result == pytest.ExitCode.NO_TESTS_COLLECTED else int(result))
