#!/usr/bin/python3
"""Man pages and bash completion of programs, made of what they print for --help.

    help_pages.py PREFIX PROGRAM...

writes PREFIX/share/man/man1/NAME.1 and PREFIX/share/bash-completion/completions/NAME for each program.
The page's date is SOURCE_DATE_EPOCH. The help has CLI11's form: a sentence, "Usage:", and groups of entries
whose texts begin in column 30.
"""

import os
import re
import subprocess
import sys
import textwrap
import time

EXIT_STATUS = {
    "krtool": [("0", "All is well."),
               ("1", "Something was found to be wrong, or nothing was found."),
               ("2", "The call is wrong, or something cannot be read or written.")],
}
EXIT_STATUS_OF_HOSTS = [("0", "It was done."), ("other", "It failed; a sentence on the standard error tells why.")]


class Command:
    """What one command, or subcommand, says of itself."""

    def __init__(self, words, program):
        self.words = words
        text = subprocess.run([program, *words[1:], "--help"], check=True, capture_output=True,
                              text=True).stdout
        lines = text.splitlines()
        usage = next(i for i, line in enumerate(lines) if line.startswith("Usage: "))
        self.summary = " ".join(line.strip() for line in lines[:usage] if line.strip())
        self.usage = lines[usage][len("Usage: "):]
        self.groups = read_groups(lines[usage + 1:])
        self.commands = [Command([*words, name], program)
                         for group, entries in self.groups if group == "Subcommands"
                         for name, _ in entries]

    def all(self):
        yield self
        for command in self.commands:
            yield from command.all()

    def options(self):
        """The names that begin with a dash, each with the values it may have."""
        for _, entries in self.groups:
            for name, _ in entries:
                values = re.search(r"[{]([^}]*)[}]", name)
                values = re.sub(r"->[^,]*", "", values.group(1)).split(",") if values else []
                for option in re.split(r"[ ,]", name):
                    if not option.startswith("-"):
                        break
                    yield option, values


def read_groups(lines):
    """[(title, [(name, text)])]: a long name has a line of its own before its text."""
    groups = []
    for line in lines:
        if re.match(r"\S.*:$", line):
            groups.append((line[:-1], []))
        elif re.match(r"  \S", line):
            name, _, text = line.strip().partition("  ")
            if len(line) > 30 and line[29] == " " and line[30] != " " and not text:
                name, text = line[:29].strip(), line[30:]
            groups[-1][1].append([name.strip(), text.strip()])
        elif line.strip():
            entry = groups[-1][1][-1]
            entry[1] = (entry[1] + " " + line.strip()).strip()
    return [group for group in groups if group[1]]


def roff(text):
    text = text.replace("\\", "\\e").replace("-", "\\-")
    return "\\&" + text if text[:1] in (".", "'") else text


def paragraph(text):
    lines = textwrap.wrap(text, 70, break_long_words=False, break_on_hyphens=False)
    return "\n".join(roff(line) for line in lines) or "\\&"


def man_page(command, version, date):
    name = command.words[0]
    page = [f'.TH {name.upper()} 1 {date} "KRCommon {version}"', ".SH NAME",
            f"{name} \\-",
            paragraph(command.summary[:1].lower() + command.summary[1:].rstrip(".")), ".SH SYNOPSIS"]
    uses = [sub.usage for sub in command.all() if not sub.commands]
    for i, usage in enumerate(uses):
        page += ([".br"] if i else []) + [f".B {roff(usage)}"]
    page += [".SH DESCRIPTION", paragraph(command.summary)]
    for sub in command.all():
        if sub is not command:
            page += [f'.SH "{" ".join(sub.words[1:]).upper()}"', paragraph(sub.summary)]
        for title, entries in sub.groups:
            if sub is not command: # what each command has is told once
                entries = [entry for entry in entries if entry[0] != "-h,--help"]
            if title == "Subcommands" or not entries:
                continue
            page += [f'.SS "{title}"' if sub is not command else f'.SH "{title.upper()}"']
            for entry, text in entries:
                page += [".TP", f"\\fB{roff(entry)}\\fR", paragraph(text)]
    page.append(".SH EXIT STATUS")
    for code, text in EXIT_STATUS.get(name, EXIT_STATUS_OF_HOSTS):
        page += [".TP", f"\\fB{code}\\fR", paragraph(text)]
    return "\n".join(page) + "\n"


def completion(command):
    name = command.words[0]
    function = "_" + name
    values = {}
    cases = []
    for sub in command.all():
        words = [entry for group, entries in sub.groups if group == "Subcommands"
                 for entry, _ in entries]
        for option, choice in sub.options():
            words.append(option)
            if choice:
                values[option] = choice
        cases.append(f'    "{" ".join(sub.words)}") words="{" ".join(words)}" ;;')
    paths = " | ".join(f'"{" ".join(sub.words)}"' for sub in command.all() if sub is not command)
    lines = [f"# bash completion of {name}, made of its --help", f"{function}() {{",
             "    local current=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}",
             f'    local path={name} word words=""']
    if paths:
        lines += ['    for word in "${COMP_WORDS[@]:1:COMP_CWORD - 1}"; do',
                  f'        case "$path $word" in {paths}) path="$path $word" ;; esac',
                  "    done"]
    lines += ['    case "$path" in', *cases, "    esac"]
    if values:
        lines += ['    case "$before" in']
        lines += [f'    {option}) words="{" ".join(choice)}" ;;' for option, choice in values.items()]
        lines += ["    esac"]
    lines += ['    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")', "}",
              f"complete -o default -F {function} {name}"]
    return "\n".join(lines) + "\n"


def write(path, text):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)


def main():
    prefix, programs = sys.argv[1], sys.argv[2:]
    date = time.strftime("%Y-%m-%d", time.gmtime(int(os.environ.get("SOURCE_DATE_EPOCH", time.time()))))
    for program in programs:
        name = os.path.basename(program)
        version = subprocess.run([program, "--version"], check=True, capture_output=True,
                                 text=True).stdout.split()[-1]
        command = Command([name], os.path.abspath(program))
        write(f"{prefix}/share/man/man1/{name}.1", man_page(command, version, date))
        write(f"{prefix}/share/bash-completion/completions/{name}", completion(command))


main()
