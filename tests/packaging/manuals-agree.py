#!/usr/bin/env python3
"""Checks that what the programs accept, what they say in --help, what their
manuals say (the man pages are made from them) and what the bash completion
offers name the same things:

  cosupdate:     options, commands, exit statuses, transports and the fields
                 of `chip set`, from its sources (the option and command
                 tables, ExitStatus.h, the chip fields), `cosupdate --help`,
                 the manual in README.md, the man page made from it and the
                 completion;
  cosupdate-gen: options, from its source, its --help, docs/cosupdate-gen.md
                 and the man page made from it.

A name missing from any of them fails the check, which says where it is
missing: a new option must be documented everywhere before this passes.

    manuals-agree.py --source-dir DIR --man-dir DIR --completion FILE
                     [--emulator PROGRAM] COSUPDATE COSUPDATE_GEN
"""

import argparse
import importlib.util
import os
import re
import subprocess
import sys


def load_converter(source_dir):
    path = os.path.join(source_dir, "packaging", "man", "markdown-to-man.py")
    location = importlib.util.spec_from_file_location("markdown_to_man", path)
    module = importlib.util.module_from_spec(location)
    location.loader.exec_module(module)
    return module


def read(path):
    with open(path, encoding="utf-8") as f:
        return f.read()


def options_in(text):
    return set(re.findall(r"(?<![\w-])(--?[a-z][a-z0-9-]*)", text))


class Manual:
    """The blocks of a manual, by section."""

    def __init__(self, converter, text):
        self.sections = {}
        section = None
        for block in converter.parse_blocks(converter.manual_lines(text)):
            if block[0] == "heading":
                section = block[1]
                self.sections[section] = []
            else:
                self.sections[section].append(block)

    def blocks(self, section, kind):
        return [b for b in self.sections.get(section, []) if b[0] == kind]

    def options(self):
        found = set()
        for _, term, _ in self.blocks("OPTIONS", "term"):
            found |= options_in(" ".join(re.findall(r"`([^`]*)`", term)))
        return found

    def commands(self):
        return {re.match(r"`(\w+)", term).group(1) for _, term, _ in self.blocks("COMMANDS", "term")}

    def exit_statuses(self):
        return {row[0] for _, rows in self.blocks("EXIT STATUS", "table") for row in rows}

    def transports(self):
        items = [item for _, items in self.blocks("DESCRIPTION", "list") for item in items]
        return {m.group(1) for m in (re.match(r"\* `([a-z]+)", i) for i in items) if m}

    def chip_fields(self):
        for _, term, body in self.blocks("COMMANDS", "term"):
            if term.startswith("`chip set"):
                fields = {row[0].strip("`") for b in body if b[0] == "table" for row in b[1]}
                sentences = [s for b in body if b[0] == "para" for s in b[1].split(". ")]
                for sentence in sentences:
                    if "accepted as well" in sentence:
                        fields |= set(re.findall(r"`([a-z-]+)`", sentence))
                return fields
        return set()


class ManPage:
    """The tags of the outermost .TP paragraphs of a man page, by section."""

    def __init__(self, path):
        self.tags = {}
        section = None
        depth = 0
        lines = read(path).splitlines()
        for i, line in enumerate(lines):
            depth += line.startswith(".RS") - line.startswith(".RE")
            if line.startswith(".SH "):
                section = line[4:]
                self.tags[section] = []
            elif line == ".TP" and section and depth == 0 and i + 1 < len(lines):
                tag = re.sub(r"\\f[BRI]|\\%|\\&", "", lines[i + 1]).replace("\\-", "-")
                self.tags[section].append(tag)

    def options(self):
        found = set()
        for tag in self.tags.get("OPTIONS", []):
            found |= options_in(tag)
        return found

    def first_words(self, section):
        return {tag.split()[0] for tag in self.tags.get(section, [])}


def help_sections(text):
    """The lines of each "Title:" section of a --help text."""
    sections = {}
    current = None
    for line in text.splitlines():
        header = re.match(r"([A-Z][^:]*):$", line)
        if header:
            current = header.group(1).split(" (")[0]
            sections[current] = []
        elif current:
            sections[current].append(line)
    return sections


def help_options(lines):
    found = set()
    for line in lines:
        if re.match(r"  -", line):
            found |= options_in(re.split(r"\s{2,}", line.strip())[0])
    return found


def run(command):
    result = subprocess.run(command, capture_output=True, text=True)
    if result.returncode != 0:
        sys.exit("manuals-agree: %s exited %d: %s" % (command, result.returncode, result.stderr))
    return result.stdout


def completion_list(completion, variable):
    script = 'source "$1"; printf "%%s\\n" $%s' % variable
    return set(run(["bash", "-c", script, "completion", completion]).split())


def compare(what, where):
    """where: {source name: set of names}. Returns the lines of disagreement."""
    problems = []
    for name in sorted(set().union(*where.values())):
        missing = [source for source, names in where.items() if name not in names]
        if missing:
            present = [source for source in where if source not in missing]
            problems.append("%s %s: in %s; missing from %s"
                            % (what, name, ", ".join(present), ", ".join(missing)))
    return problems


def check_cosupdate(source_dir, converter, man_dir, cosupdate, completion):
    tool = os.path.join(source_dir, "tools", "cosupdate")
    manual = Manual(converter, read(os.path.join(source_dir, "README.md")))
    man = ManPage(os.path.join(man_dir, "cosupdate.1"))
    help_text = help_sections(run(cosupdate + ["--help"]))
    command_line = read(os.path.join(tool, "CommandLine.cpp"))
    parser_options = set()
    for long_name, short_name in re.findall(r'\{"(--[\w-]+)", (?:nullptr|"(-\w)")', command_line):
        parser_options |= {long_name, short_name} - {""}
    parser_commands = set(re.findall(r'\{"(\w+)", \d+, \w+, "', read(os.path.join(tool, "Cli.cpp"))))
    parser_commands.add("help")
    chip = read(os.path.join(tool, "commands", "Chip.cpp"))
    parser_fields = set()
    for names in re.findall(r'\{\{("[a-z-]+"(?:, "[a-z-]+")*)\}', chip):
        parser_fields |= set(re.findall(r'"([a-z-]+)"', names))
    exit_statuses = set(re.findall(r"= (\d+),", read(os.path.join(tool, "ExitStatus.h"))))

    problems = compare("cosupdate option", {
        "the parser (CommandLine.cpp)": parser_options,
        "--help": help_options(help_text.get("Options", [])),
        "README.md": manual.options(),
        "cosupdate(1)": man.options(),
        "the bash completion": completion_list(completion, "_cosupdate_options"),
    })
    problems += compare("cosupdate command", {
        "the parser (Cli.cpp)": parser_commands,
        "--help": {line.split()[0] for line in help_text.get("Commands", [])
                   if re.match(r"  \w", line)},
        "README.md": manual.commands(),
        "cosupdate(1)": man.first_words("COMMANDS"),
        "the bash completion": completion_list(completion, "_cosupdate_commands"),
    })
    problems += compare("cosupdate exit status", {
        "ExitStatus.h": exit_statuses,
        "--help": {line.split()[0] for line in help_text.get("Exit status", [])
                   if re.match(r"  \d ", line)},
        "README.md": manual.exit_statuses(),
        "cosupdate(1)": man.first_words("EXIT STATUS"),
    })
    problems += compare("cosupdate transport", {
        "--help": {re.match(r"  ([a-z]+)", line).group(1)
                   for line in help_text.get("Transports", []) if re.match(r"  [a-z]", line)},
        "README.md": manual.transports(),
        "the bash completion": completion_list(completion, "_cosupdate_transports"),
    })
    problems += compare("cosupdate chip field", {
        "the parser (commands/Chip.cpp)": parser_fields,
        "README.md": manual.chip_fields(),
        "the bash completion": completion_list(completion, "_cosupdate_chip_fields"),
    })
    for command in sorted(parser_commands):
        if not run(cosupdate + ["help", command]).strip():
            problems.append("cosupdate command %s: `cosupdate help %s` says nothing" % (command, command))
    return problems


def check_cosupdate_gen(source_dir, converter, man_dir, generator):
    manual = Manual(converter, read(os.path.join(source_dir, "docs", "cosupdate-gen.md")))
    man = ManPage(os.path.join(man_dir, "cosupdate-gen.1"))
    source = read(os.path.join(source_dir, "sim", "generator", "cosupdate-gen.cpp"))
    help_lines = run(generator + ["--help"]).splitlines()
    problems = compare("cosupdate-gen option", {
        "the parser (cosupdate-gen.cpp)": set(re.findall(r'option == "(--?[\w-]+)"', source)),
        "--help": help_options(help_lines[1:]),
        "docs/cosupdate-gen.md": manual.options(),
        "cosupdate-gen(1)": man.options(),
    })
    return problems


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--source-dir", required=True)
    parser.add_argument("--man-dir", required=True)
    parser.add_argument("--completion", required=True)
    parser.add_argument("--emulator", default="")
    parser.add_argument("cosupdate")
    parser.add_argument("cosupdate_gen")
    args = parser.parse_args()
    emulator = [args.emulator] if args.emulator else []
    converter = load_converter(args.source_dir)
    problems = check_cosupdate(args.source_dir, converter, args.man_dir,
                               emulator + [args.cosupdate], args.completion)
    problems += check_cosupdate_gen(args.source_dir, converter, args.man_dir,
                                    emulator + [args.cosupdate_gen])
    if problems:
        print("The programs, their --help, their manuals and the bash completion disagree:")
        print("\n".join("  " + p for p in problems))
        print("Document each in all of them (the man pages are made from the manuals).")
        sys.exit(1)
    print("cosupdate and cosupdate-gen: parser, --help, manuals, man pages and completion agree")


if __name__ == "__main__":
    main()
