"""Counts the test cases of one run of CTest: `count_results.py DIRECTORY`.

The directory holds `ctest.xml`, CTest's report of the programs, and one report of each GoogleTest
program with its cases. A program without a report of its own counts as one case, and so does one
that failed although no case of its did: it crashed, ran out of time or leaked.

Prints "N passed, N failed", with ", N skipped" if there are any, and keeps the line in `counts`.
Exit 0 only if something passed and nothing failed.
"""

import pathlib
import sys
import xml.etree.ElementTree as ElementTree


def cases_of(report):
    """Passed, failed and skipped cases of one GoogleTest report; None if it is not to be read."""
    try:
        cases = list(ElementTree.parse(report).getroot().iter("testcase"))
    except (OSError, ElementTree.ParseError):
        return None
    ran = [case for case in cases if case.get("status") == "run"]
    failed = sum(1 for case in ran if case.find("failure") is not None)
    skipped = sum(1 for case in ran if case.get("result") == "skipped")
    return len(ran) - failed - skipped, failed, skipped + len(cases) - len(ran)


def count(directory):
    passed = failed = skipped = 0
    for program in ElementTree.parse(directory / "ctest.xml").getroot().iter("testcase"):
        status = program.get("status")
        cases = cases_of(directory / (program.get("name") + ".xml"))
        if status not in ("run", "fail"):  # disabled, or its own way of saying "skipped"
            skipped += 1
        elif status == "fail":
            good, bad, left_out = cases or (0, 0, 0)
            passed, failed, skipped = passed + good, failed + max(bad, 1), skipped + left_out
        else:
            good, bad, left_out = cases or (1, 0, 0)
            passed, failed, skipped = passed + good, failed + bad, skipped + left_out
    return passed, failed, skipped


def main():
    directory = pathlib.Path(sys.argv[1])
    try:
        passed, failed, skipped = count(directory)
    except (OSError, ElementTree.ParseError) as error:
        print(f"no report of the tests: {error}", file=sys.stderr)
        passed, failed, skipped = 0, 1, 0
    line = f"{passed} passed, {failed} failed" + (f", {skipped} skipped" if skipped else "")
    (directory / "counts").write_text(line + "\n")
    print(line, flush=True)
    return 0 if passed and not failed else 1


if __name__ == "__main__":
    sys.exit(main())
