#!/usr/bin/env python3
"""Writes a man page from the manual written in Markdown, so that the manual
is written once: README.md holds cosupdate's, docs/cosupdate-gen.md
cosupdate-gen's.

    markdown-to-man.py --name NAME --section N --version V SOURCE.md OUT

The manual starts at the "### NAME" heading and ends at the next heading of
level 1 or 2 (or the end of the file). It may use what those manuals use:
"###" headings, paragraphs, fenced code blocks, "*" lists, tables and
definition lists (a term line, then its text after ": " and indented by two),
with `code`, **bold** and [links](target) inline. Anything else is an error,
so that nothing is dropped from the page without notice. OUT ending in .gz is
compressed reproducibly (no name, no time stamp).
"""

import argparse
import gzip
import re
import sys


class ManualError(Exception):
    pass


def manual_lines(text):
    lines = text.splitlines()
    try:
        start = lines.index("### NAME")
    except ValueError:
        raise ManualError('no "### NAME" heading')
    end = len(lines)
    for i in range(start + 1, len(lines)):
        if re.match(r"#{1,2} ", lines[i]):
            end = i
            break
    return lines[start:end]


LIST_ITEM = re.compile(r"(\*|\d+\.) ")


# Blocks: ("heading", text), ("para", text), ("code", [lines]),
# ("list", ["* text" or "1. text"...]), ("table", [[cell...]...]), ("term", text, [blocks]).
def parse_blocks(lines):
    blocks = []
    i = 0
    while i < len(lines):
        line = lines[i]
        if not line.strip():
            i += 1
        elif line.startswith("### "):
            blocks.append(("heading", line[4:].strip()))
            i += 1
        elif line.startswith("```"):
            end = next((j for j in range(i + 1, len(lines)) if lines[j].startswith("```")), None)
            if end is None:
                raise ManualError("unterminated code block: " + line)
            blocks.append(("code", lines[i + 1:end]))
            i = end + 1
        elif line.startswith("|"):
            rows = []
            while i < len(lines) and lines[i].startswith("|"):
                rows.append([cell.strip() for cell in lines[i].strip().strip("|").split("|")])
                i += 1
            if len(rows) < 2 or not all(re.fullmatch(r":?-+:?", c) for c in rows[1]):
                raise ManualError("a table needs a header and a separator row: " + "|".join(rows[0]))
            blocks.append(("table", rows[2:]))
        elif LIST_ITEM.match(line):
            items = []
            while i < len(lines) and LIST_ITEM.match(lines[i]):
                item = [lines[i]]
                i += 1
                while i < len(lines) and lines[i].startswith("  ") and lines[i].strip():
                    item.append(lines[i].strip())
                    i += 1
                items.append(" ".join(item))
            blocks.append(("list", items))
        elif i + 1 < len(lines) and lines[i + 1].startswith(": "):
            body = []
            i += 1
            while i < len(lines) and (lines[i].startswith(": ") or lines[i].startswith("  ")
                                      or not lines[i].strip()):
                body.append(lines[i][2:])
                i += 1
            blocks.append(("term", line, parse_blocks(body)))
        elif line.startswith(" ") or line.startswith(":"):
            raise ManualError("indented text outside a definition: " + line)
        else:
            para = []
            while (i < len(lines) and lines[i].strip() and not re.match(r"(#|```|\|)", lines[i])
                   and not LIST_ITEM.match(lines[i])):
                para.append(lines[i].strip())
                i += 1
            blocks.append(("para", " ".join(para)))
    return blocks


def escape(text):
    text = text.replace("\\", "\\e")
    return "".join(c if ord(c) < 128 else "\\[u%04X]" % ord(c) for c in text)


def inline(text):
    text = escape(text)
    text = re.sub(r"\[([^\]]+)\]\([^)]+\)", r"\1", text)
    text = re.sub(r"\*\*([^*]+)\*\*", r"\\fB\1\\fR", text)
    text = re.sub(r"`([^`]+)`", lambda m: "\\fB\\%" + m.group(1).replace("-", "\\-") + "\\fR", text)
    if "`" in text:
        raise ManualError("unbalanced ` in: " + text)
    return "\\&" + text if text[:1] in (".", "'") else text


def render(blocks, out, nested=False):
    first = True
    for block in blocks:
        kind = block[0]
        if kind == "heading":
            out.append(".SH " + escape(block[1].upper()))
        elif kind == "para":
            if not (nested and first):
                out.append(".IP" if nested else ".PP")
            out.append(inline(block[1]))
        elif kind == "code":
            out += [".PP" if not nested else ".IP", ".nf", ".RS 4"]
            out += [("\\&" if line[:1] in (".", "'") else "") + escape(line) for line in block[1]]
            out += [".RE", ".fi"]
        elif kind in ("list", "table"):
            if nested:
                out.append(".RS")
            for item in block[1]:
                if kind == "list":
                    mark, text = item.split(" ", 1)
                    bullet = "\\(bu 2" if mark == "*" else mark + " 4"
                    out += [".IP " + bullet, inline(text)]
                else:
                    out += [".TP", inline(item[0]), inline(" ".join(item[1:]))]
            if nested:
                out.append(".RE")
        elif kind == "term":
            out += [".TP", inline(block[1])]
            render(block[2], out, nested=True)
        first = False


def name_section(blocks):
    """NAME must read "name \\- summary" in plain text for whatis."""
    if len(blocks) < 2 or blocks[1][0] != "para" or " - " not in blocks[1][1]:
        raise ManualError('"### NAME" must be followed by "name - summary"')
    name, summary = blocks[1][1].split(" - ", 1)
    return [".SH NAME", escape(name.replace("`", "")) + " \\- " + escape(summary)], blocks[2:]


def man_page(text, name, section, version, source):
    blocks = parse_blocks(manual_lines(text))
    out = ['.\\" Written from %s by markdown-to-man.py: edit that, not this.' % source,
           '.TH %s %s "" "%s %s" "User Commands"' % (name.upper(), section, name, version)]
    head, rest = name_section(blocks)
    out += head
    render(rest, out)
    return "\n".join(out) + "\n"


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--name", required=True)
    parser.add_argument("--section", required=True)
    parser.add_argument("--version", required=True)
    parser.add_argument("source")
    parser.add_argument("output")
    args = parser.parse_args()
    with open(args.source, encoding="utf-8") as f:
        text = f.read()
    try:
        page = man_page(text, args.name, args.section, args.version, args.source.split("/")[-1])
    except ManualError as e:
        sys.exit("%s: %s" % (args.source, e))
    data = page.encode("utf-8")
    if args.output.endswith(".gz"):
        with open(args.output, "wb") as raw, gzip.GzipFile("", "wb", 9, raw, mtime=0) as f:
            f.write(data)
    else:
        with open(args.output, "wb") as f:
            f.write(data)


if __name__ == "__main__":
    main()
