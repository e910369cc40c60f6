#!/usr/bin/env python3
"""Plans random requests over all parameters that can be set, applies them, and compares the two.

usage: compare_plans.py STATE TABLE SEED write|check

"write" puts the requests and a script that runs them into the device's /root; "check" reads what that has left: the plan
is what the apply did, by the journal of the tools and by the configuration, and it left no trace itself.
"""
import json
import pathlib
import random
import re
import shlex
import sys
import tarfile

SCRIPT = r"""
: >>/var/log/events.log
trace() { tar cf "$1" -C / --exclude=etc/qsyscmdhal etc tmp var usr/share sys/class 2>/dev/null; }
for request in /root/request.*; do
    number=${request##*.}
    [ ! -e /root/prepare.$number ] || sh /root/prepare.$number >/dev/null 2>&1 </dev/null
    : >/var/log/journal.txt
    trace /root/before.$number
    qsc plan --json <$request >/root/plan.$number 2>/root/said.$number
    trace /root/after.$number
    qsc apply --json <$request >/root/report.$number 2>>/root/said.$number
    trace /root/done.$number
done
"""


class Device:
    """What stood in the device's files at a moment."""

    def __init__(self, path):
        self.files, self.configuration, self.journal = {}, {}, []
        with tarfile.open(path) as archive:
            for member in archive.getmembers():
                text = archive.extractfile(member).read() if member.isfile() else member.linkname
                self.files[member.name] = (member.type, member.mode, text)
                if member.name.startswith("etc/config/") and member.isfile():
                    self.read_package(member.name[len("etc/config/"):], text.decode())
        self.journal = [line for line in self.files.pop("var/log/journal.txt")[2].decode().splitlines()
                        if plain(line)[0] not in SILENT]

    def read_package(self, name, text):
        counts, section = {}, ""
        for line in text.splitlines():
            words = shlex.split(line, comments=True)
            if words[:1] == ["config"]:
                count = counts[words[1]] = counts.get(words[1], -1) + 1
                section = f"{name}." + (words[2] if len(words) > 2 else f"@{words[1]}[{count}]")
                self.configuration[section] = words[1]
            elif words:
                option = f"{section}.{words[1]}"
                before = self.configuration[option] + " " if words[0] == "list" and option in self.configuration else ""
                self.configuration[option] = before + words[2]
                if words[0] == "option" and not words[2]:
                    del self.configuration[option]  # says nothing


def read_table(path):
    """The lines of the table: (commands to run first, "PATH.NAME=VALUE", a secret value or "")."""
    prepared, lines = [], []
    for line in pathlib.Path(path).read_text().splitlines():
        if line.startswith("$ "):
            prepared.append(line[2:])
        elif line and not line.startswith("#"):
            is_secret = line.endswith(" =>")
            path, assignment = line.split(" =>")[0].split(" ", 1)
            lines.append((prepared, path + "." + assignment, assignment.split("=", 1)[1] if is_secret else ""))
            prepared = []
    return lines


def write(root, table, seed):
    chance = random.Random(seed)
    lines = read_table(table)
    if seed:  # without a seed in the table's order, where the lines build on each other
        chance.shuffle(lines)
    number = 100
    while lines:
        count = chance.randint(1, 6)
        chosen, lines = lines[:count], lines[count:]
        (root / f"request.{number}").write_text("".join(shlex.quote(line) + "\n" for _, line, _ in chosen))
        prepared = [command for commands, _, _ in chosen for command in commands]
        if prepared:
            (root / f"prepare.{number}").write_text("\n".join(prepared) + "\n")
        number += 1
    (root / "run").write_text(SCRIPT)


# What the simulated tools do not write down, do of their own accord, or when it suits them.
SILENT = {"darken", "echo", "fw4", "frr", "qrnmsgupd"}


def commands(lines):
    """The commands that can be compared. Those of drivers may run in the background, so they have no order."""
    words = [words for words in map(plain, lines) if words[0] not in SILENT]
    is_step = [len(command) == 2 or command[0] == "ubus" for command in words]
    return ([command for command, step in zip(words, is_step) if step],
            sorted(command for command, step in zip(words, is_step) if not step))


def plain(command):
    """A command as its tool writes it down, without its folder and what a shell does with its output."""
    words = shlex.split(re.sub(r" *[0-9]*> *(&[0-9]|/dev/null)", "", command).rstrip(" &"))
    return [words[0].rsplit("/", 1)[-1]] + words[1:]


def check_one(root, number):
    before, after, done = (Device(root / f"{name}.{number}") for name in ("before", "after", "done"))
    plan, report = ((root / f"{name}.{number}").read_text() for name in ("plan", "report"))
    if after.journal:
        yield f"the plan has run {after.journal}"
    for name in before.files.keys() | after.files.keys():
        if before.files.get(name) != after.files.get(name):
            yield f"the plan has changed {name}"
    if not plan or not report:
        yield "there is no plan: " + (root / f"said.{number}").read_text()
        return
    plan, report = json.loads(plan), json.loads(report)
    if plan["result"] != report["result"]:
        yield f"planned {plan['result']} ({plan['refused']}), done {report['result']} ({report['refused']})"
        return
    for name in "hash", "configuration", "packages", "files":
        if plan[name] != report[name]:
            yield f"{name} planned {plan[name]}\n   done {report[name]}"
    changed = {key for key in before.configuration.keys() | done.configuration.keys()
               if before.configuration.get(key) != done.configuration.get(key)}
    if plan["result"] != 0:
        if done.journal or changed:
            yield f"it was refused, and yet {done.journal} {changed}"
        return
    planned, ran = commands(entry["command"] for entry in plan["commands"]), commands(done.journal)
    if planned != ran:
        yield f"planned {planned}\n   done {ran}"
    told = {}
    for entry in plan["configuration"]:
        key = ".".join(filter(None, (entry["package"], entry["section"], entry.get("option"))))
        told[key] = entry
        for what, device in ("old", before), ("new", done):
            if entry["kind"] != "moved" and entry.get(what, "***") not in ("***", "") and entry[what] != device.configuration.get(key):
                yield f"{key} is {device.configuration.get(key)}, {what} {entry[what]}"
    told = {key for key, entry in told.items() if entry["kind"] != "moved"}
    if changed != told:
        yield f"the configuration differs in {sorted(changed ^ told)}"
    files = {name for name in before.files.keys() | done.files.keys() if before.files.get(name) != done.files.get(name)}
    files = {"/" + name for name in files if re.match("etc/(?!config/|frr/)", name) and done.files.get(name, before.files.get(name))[0] == tarfile.REGTYPE}
    if files != {entry["path"] for entry in plan["files"] if entry["path"].startswith("/etc/")}:
        yield f"files {sorted(files)} changed, planned {plan['files']}"


def check(root, table):
    secrets = {secret for _, _, secret in read_table(table) if secret}
    numbers = sorted(int(path.suffix[1:]) for path in root.glob("request.*"))
    refused = 0
    for number in numbers:
        for what in check_one(root, number):
            request = (root / f"request.{number}").read_text()
            print(f"request {number}:\n{request}   {what}")
        said = "".join((root / f"{name}.{number}").read_text() for name in ("plan", "report", "said"))
        for secret in secrets:
            if re.search(rf"\b{re.escape(secret)}\b", said):
                print(f"request {number}: the secret {secret} is shown")
        refused += '"result":0' not in (root / f"plan.{number}").read_text().replace(" ", "")
    if not secrets or refused * 2 > len(numbers):
        print(f"{secrets}, {refused} of {len(numbers)} requests were refused")


def main():
    root = pathlib.Path(sys.argv[1]) / "root"
    if sys.argv[4] == "write":
        write(root, sys.argv[2], int(sys.argv[3]))
    else:
        check(root, sys.argv[2])


main()
