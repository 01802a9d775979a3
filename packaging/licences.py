"""Debian's copyright files in the words of SPDX."""

import re

# Debian's short name -> SPDX's, where both mean the same text. Numbered licences follow by rule.
SAME = {
    "Apache-2.0": "Apache-2.0",
    "Artistic-2.0": "Artistic-2.0",
    "BSD-2-clause": "BSD-2-Clause",
    "BSD-3-clause": "BSD-3-Clause",
    "BSD-4-clause": "BSD-4-Clause",
    "CC0": "CC0-1.0",
    "CC0-1.0": "CC0-1.0",
    "Expat": "MIT",
    "FTL": "FTL",
    "GFDL-NIV-1.3": "GFDL-1.3-no-invariants-only",
    "GPL-2 with Linux-syscall-note exception": "GPL-2.0-only WITH Linux-syscall-note",
    "ISC": "ISC",
    "MIT": "MIT",
    "MPL-2.0": "MPL-2.0",
    "Python-2.0": "Python-2.0",
    "Zlib": "Zlib",
    "zlib": "Zlib",
}
NUMBERED = re.compile(r"(GPL|LGPL|AGPL|GFDL)-([0-9]+(?:\.[0-9]+)?)(\+?)")
EXTRA = "LicenseRef-"
STANZA = re.compile(r"\n[ \t]*\n")


def fields_of(stanza: str) -> dict[str, str]:
    return dict(re.findall(r"^([A-Za-z-]+):[ \t]*(.*(?:\n[ \t].*)*)", stanza, re.M))


def identifier(name: str) -> str:
    """SPDX's identifier for one of Debian's short names; one of the document's own where it has none."""
    found = NUMBERED.fullmatch(name)
    if found:
        version = found[2] if "." in found[2] else found[2] + ".0"
        return f"{found[1]}-{version}-{'or-later' if found[3] else 'only'}"
    return SAME.get(name) or EXTRA + re.sub(r"[^A-Za-z0-9.]+", "-", name).strip("-")


def names_in(synopsis: str) -> list[list[str]]:
    """The groups that all hold, each of names of which one is chosen."""
    groups = re.split(r",? and |, ", synopsis.strip())
    return [[name.strip() for name in re.split(r" or ", group) if name.strip()] for group in groups]


def text_of(body: str) -> str:
    """A field's text without the marks of its format."""
    lines = (line.strip() for line in body.splitlines())
    return "\n".join("" if line == "." else line for line in lines).strip()


def read(copyright_file: str) -> tuple[str, dict[str, str], str]:
    """Expression, texts of the licences that SPDX does not know, and who holds the copyright.

    The expression is of all that the file names. All are empty for a file in no known format.
    """
    if not copyright_file.startswith("Format:"):
        return "", {}, ""
    groups: dict[str, None] = {}
    texts: dict[str, str] = {}
    holders: dict[str, None] = {}
    for stanza in map(fields_of, STANZA.split(copyright_file)):
        synopsis, _, body = stanza.get("License", "").partition("\n")
        if not synopsis.strip():
            continue
        for names in names_in(synopsis):
            ids = [identifier(name) for name in names]
            if "Files" in stanza:
                groups[ids[0] if len(ids) == 1 else f"({' OR '.join(ids)})"] = None
            for own in (one for one in ids if one.startswith(EXTRA)):
                texts[own] = text_of(body) or texts.get(own) or f"See Debian's copyright file: {synopsis}"
        for line in stanza.get("Copyright", "").splitlines():
            if line.strip():
                holders[line.strip()] = None
    return " AND ".join(groups), texts, "\n".join(holders)
