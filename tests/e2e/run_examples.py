#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Runs the examples of a document: "sh" blocks, in which a line with "$ " is a command and what follows is what it
prints, and "python" blocks, whose output is the "text" block after them. Ends with 1 where something else is printed.

    run_examples.py DOCUMENT MODULES
"""

import os
import re
import subprocess
import sys


def check(command, wanted, failures):
    done = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          timeout=60, check=False)
    said = done.stdout.decode()
    if said != wanted:
        failures.append(f"{command[-1]}\nis:     {said}wanted: {wanted}")


def main(document, modules):
    os.environ["PYTHONPATH"] = modules
    os.environ["PYTHONDONTWRITEBYTECODE"] = "1"
    failures = []
    count = 0
    with open(document, encoding="utf-8") as file:
        blocks = re.findall(r"^```(\w*)\n(.*?)^```", file.read(), re.M | re.S)
    for (kind, text), (_, after) in zip(blocks, blocks[1:] + [("", "")]):
        if kind == "sh":
            for example in re.split(r"^\$ ", text, flags=re.M)[1:]:
                command, _, wanted = example.partition("\n")
                check(["sh", "-c", command], wanted, failures)
                count += 1
        elif kind == "python":
            check([sys.executable, "-c", text], after, failures)
            count += 1
    print("\n".join(failures) or f"{count} examples")
    return 1 if failures or count == 0 else 0


sys.exit(main(sys.argv[1], sys.argv[2]))
