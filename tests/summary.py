#!/usr/bin/env python3
"""Says what the rings did: every skipped test with its reason, every failed one, and the counts in the last line."""
import os
import re
import sys
import xml.etree.ElementTree as ET


def reason(text):
    """The text that a test printed when it skipped itself."""
    lines = [line.strip() for line in (text or "").splitlines()]
    for i, line in enumerate(lines):
        if re.search(r": Skipped$", line) and i + 1 < len(lines):
            return lines[i + 1]
        match = re.match(r"SKIP: (.*)", line)
        if match:
            return match.group(1)
    return "no reason given"


def main(reports):
    passed, failed, skipped = 0, [], {}
    for report in reports:
        if not os.path.exists(report):
            continue
        for case in ET.parse(report).getroot().iter("testcase"):
            name = case.get("name")
            status = case.get("status")
            if status == "run":
                passed += 1
            elif status in ("notrun", "disabled"):
                skipped.setdefault(reason(case.findtext("system-out")), []).append(name)
            else:
                failed.append(name)
    for why, names in sorted(skipped.items()):
        print(f"skipped, {why}: {len(names)}")
        for name in names:
            print(f"    {name}")
    for name in failed:
        print(f"FAILED {name}")
    count = sum(map(len, skipped.values()))
    print(f"{passed} passed, {len(failed)} failed, {count} skipped")
    return 1 if failed or passed == 0 else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
