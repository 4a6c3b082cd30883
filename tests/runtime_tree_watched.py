#!/usr/bin/env python3
"""Fails for every test that does not require the runtime tree's watch: ctest runs the
watch's end after the tests that require it only, so one left out could write into
build/bin after the check, or while it runs, unseen.
    runtime_tree_watched.py CTEST   (in the build folder)"""
import json
import subprocess
import sys

# The watch itself, this check (it reads the test list, nothing else), and the fuzz
# replays (clang builds only; they feed the readers their kept inputs, no program runs).
EXEMPT = ("runtime_tree.", "fuzz_regressions_")

listing = json.loads(subprocess.run([sys.argv[1], "--show-only=json-v1"], check=True,
                                    capture_output=True, text=True).stdout)
unwatched = []
for test in listing["tests"]:
    if test["name"].startswith(EXEMPT):
        continue
    required = []
    for prop in test.get("properties", []):
        if prop["name"] == "FIXTURES_REQUIRED":
            required = prop["value"]
    if "ebf_runtime_tree_watch" not in required:
        unwatched.append(test["name"])
if unwatched:
    sys.exit("Tests outside the runtime tree's watch (give them ${EBF_TEST_WATCH}):\n  " +
             "\n  ".join(unwatched))
print(f"{len(listing['tests'])} tests, every one inside the watch")
