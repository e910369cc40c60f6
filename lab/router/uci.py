"""Reads the files of /etc/config as the device's own programs do, independently of the product's library."""

import os


class Section:
    def __init__(self, kind, name, number):
        self.kind = kind
        self.name = name or "@%s[%d]" % (kind, number)
        self.is_named = bool(name)
        self.options = {}

    def shell(self, option, default=""):
        """What config_get answers a script: the items of a list with blanks between them."""
        value = self.options.get(option, "")
        return (" ".join(value) if isinstance(value, list) else value) or default

    def on(self, option, default):
        """What config_get_bool answers."""
        value = self.shell(option)
        if value in ("1", "on", "true", "yes", "enabled"):
            return True
        return False if value in ("0", "off", "false", "no", "disabled") else default

    def items(self, option):
        """What config_list_foreach walks: real lists only."""
        value = self.options.get(option, [])
        return value if isinstance(value, list) else []

    def words(self, option):
        """A list, or a text that is split at blanks: what netifd and the firewall take for a list."""
        value = self.options.get(option, [])
        return value if isinstance(value, list) else value.split()

    def text(self, option, default=""):
        """A text as netifd takes it, which drops a list."""
        value = self.options.get(option, "")
        return default if isinstance(value, list) or value == "" else value


def tokens(text):
    """The words of each line, with quotes and escapes taken away."""
    line, word, is_word, at = [], "", False, 0
    while at < len(text):
        c = text[at]
        if c in "'\"":
            is_word, at = True, at + 1
            while at < len(text) and text[at] != c:
                if c == '"' and text[at] == "\\":
                    at += 1
                word += text[at]
                at += 1
        elif c == "\\":
            at += 1
            is_word, word = True, word + text[at : at + 1]
        elif c in " \t\n;" or (c == "#" and not is_word):
            if is_word:
                line.append(word)
            word, is_word = "", False
            if c == "#":
                while at + 1 < len(text) and text[at + 1] != "\n":
                    at += 1
            elif c in "\n;":
                if line:
                    yield line
                line = []
        else:
            is_word, word = True, word + c
        at += 1
    if is_word:
        line.append(word)
    if line:
        yield line


def load(package):
    """The sections of a committed package; none if it is not installed."""
    sections, counts = [], {}
    path = "/etc/config/" + package
    if not os.path.exists(path):
        return sections
    with open(path, encoding="utf-8", errors="surrogateescape") as file:
        for line in tokens(file.read()):
            if line[0] == "config":
                number = counts.get(line[1], 0)
                counts[line[1]] = number + 1
                sections.append(Section(line[1], line[2] if len(line) > 2 else "", number))
            elif line[0] == "option" and sections:
                sections[-1].options[line[1]] = line[2] if len(line) > 2 else ""
            elif line[0] == "list" and sections:
                values = sections[-1].options.get(line[1], [])
                values = values if isinstance(values, list) else [values]
                sections[-1].options[line[1]] = values + line[2:3]
    return sections


def of_kind(package, kind):
    return [section for section in load(package) if section.kind == kind]


def named(package, name):
    for section in load(package):
        if section.name == name:
            return section
    return Section("", "", 0)
