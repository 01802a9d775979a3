#!/usr/bin/python3
"""Writes the bill of materials of a package as SPDX 2.3 in JSON.

    sbom.py PACKAGE.deb ROOT TIME

ROOT is a Debian root in which everything is installed that the package relies on: versions and licences
are what its dpkg and its copyright files say. TIME is in seconds since 1970. The bill goes to standard
output: the package with each file in it, what it needs, what it can use, and what was compiled into it.
"""

import hashlib
import json
import re
import subprocess
import sys
import tarfile
import time
from pathlib import Path
from typing import Any, Iterator

import licences

Json = dict[str, Any]

NONE = "NOASSERTION"
# Field of the package -> how what it names relates to it, and whether the package comes first.
FIELDS = (
    ("Pre-Depends", "DEPENDS_ON", True),
    ("Depends", "DEPENDS_ON", True),
    ("Recommends", "OPTIONAL_DEPENDENCY_OF", False),
    ("Suggests", "OPTIONAL_DEPENDENCY_OF", False),
)
# Of these nothing is left but what the compiler made of their headers, so no field tells them.
COMPILED_IN = {"tarvex-diagnostics": ("nlohmann-json3-dev",)}


def run(*command: str | Path) -> str:
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def spdx_id(*words: str) -> str:
    """An identifier of SPDX made of any words."""
    return "SPDXRef-" + "-".join(re.sub(r"[^A-Za-z0-9.]+", "-", word).strip("-") for word in words)


class Root:
    """What is installed in a Debian root."""

    def __init__(self, folder: Path) -> None:
        self.folder = folder
        self.rows: dict[str, Json] = {}
        self.by_source: dict[str, str] = {}
        form = "${Package}\t${Version}\t${Architecture}\t${source:Package}\t${Provides}\n"
        for line in run("dpkg-query", f"--admindir={folder}/var/lib/dpkg", "-W", "-f", form).splitlines():
            name, version, architecture, source, provides = line.split("\t")
            row = {"name": name, "version": version, "architecture": architecture}
            self.rows[name] = row
            self.by_source.setdefault(source, name)
            for other in names_in(provides):
                self.rows.setdefault(other, row)

    def find(self, name: str) -> Json | None:
        """The package of that name, or one that provides it, or one of that source."""
        return self.rows.get(name) or self.rows.get(self.by_source.get(name, ""))

    def add_built_beside(self, package: Path) -> None:
        """Takes the other packages of the same build for installed: each has a bill of its own."""
        for path in package.parent.glob("*.deb"):
            fields = fields_of(path)
            row = {"name": fields["Package"], "version": fields["Version"]}
            self.rows.setdefault(row["name"], row | {"architecture": fields["Architecture"]})

    def copyright_of(self, name: str) -> str:
        path = self.folder / "usr/share/doc" / name / "copyright"
        return path.read_text(errors="replace") if path.is_file() else ""


def names_in(field: str) -> list[str]:
    """The first name of each group of alternatives in a field of relations."""
    firsts = (group.split("|")[0] for group in field.split(","))
    return [re.split(r"[ (:\[]", first.strip())[0] for first in firsts if first.strip()]


def purl(row: Json) -> Json:
    locator = f"pkg:deb/debian/{row['name']}@{row['version'].replace(':', '%3A')}?arch={row['architecture']}"
    return {
        "referenceCategory": "PACKAGE-MANAGER",
        "referenceType": "purl",
        "referenceLocator": locator.replace("+", "%2B"),
    }


class Bill:
    """The document, as it is put together."""

    def __init__(self, root: Root, seconds: int) -> None:
        self.root = root
        self.made = time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(seconds))
        self.packages: list[Json] = []
        self.files: list[Json] = []
        self.relations: list[Json] = []
        self.texts: dict[str, str] = {}

    def relate(self, one: str, kind: str, other: str) -> None:
        relation = {"spdxElementId": one, "relationshipType": kind, "relatedSpdxElement": other}
        if relation not in self.relations:
            self.relations.append(relation)

    def licence_of(self, text: str) -> Json:
        """The fields of a package that tell its licence, from its copyright file."""
        expression, texts, holders = licences.read(text)
        self.texts.update(texts)
        return {
            "licenseConcluded": NONE,
            "licenseDeclared": expression or NONE,
            "copyrightText": holders or NONE,
        }

    def add_relied_on(self, name: str) -> str:
        """Adds a package that another one relies on; its identifier."""
        row = self.root.find(name)
        if row is None:
            raise SystemExit(f"sbom.py: {name} is not in the root")
        identifier = spdx_id("Package", row["name"])
        if all(package["SPDXID"] != identifier for package in self.packages):
            self.packages.append(
                {
                    "SPDXID": identifier,
                    "name": row["name"],
                    "versionInfo": row["version"],
                    "supplier": "Organization: Debian",
                    "downloadLocation": NONE,
                    "filesAnalyzed": False,
                    "externalRefs": [purl(row)],
                    **self.licence_of(self.root.copyright_of(row["name"])),
                }
            )
        return identifier


def members(package: Path) -> Iterator[tuple[str, bytes]]:
    """The files in a package, each with what is in it."""
    with subprocess.Popen(["dpkg-deb", "--fsys-tarfile", package], stdout=subprocess.PIPE) as unpacked:
        with tarfile.open(fileobj=unpacked.stdout, mode="r|") as archive:
            for member in archive:
                if member.isfile():
                    yield member.name, archive.extractfile(member).read()
    if unpacked.returncode != 0:
        raise SystemExit(f"sbom.py: {package} is no package")


def checksums(content: bytes) -> list[Json]:
    return [
        {"algorithm": name, "checksumValue": hashlib.new(name.lower(), content).hexdigest()}
        for name in ("SHA1", "SHA256")
    ]


def file_types(content: bytes) -> list[str]:
    if content.startswith(b"\x7fELF"):
        return ["BINARY"]
    try:
        content.decode()
    except UnicodeDecodeError:
        return ["OTHER"]
    return ["TEXT"]


def add_files(bill: Bill, package: Path, owner: str) -> tuple[str, str]:
    """Adds each file of the package. Its verification code, and its copyright file."""
    copyright_file = ""
    for name, content in members(package):
        identifier = spdx_id("File", hashlib.sha1(name.encode()).hexdigest())
        bill.files.append(
            {
                "SPDXID": identifier,
                "fileName": name,
                "fileTypes": file_types(content),
                "checksums": checksums(content),
                "licenseConcluded": NONE,
                "licenseInfoInFiles": [NONE],
                "copyrightText": NONE,
            }
        )
        bill.relate(owner, "CONTAINS", identifier)
        if re.fullmatch(r"\./usr/share/doc/[^/]+/copyright", name):
            copyright_file = content.decode()
    sums = sorted(file["checksums"][0]["checksumValue"] for file in bill.files)
    return hashlib.sha1("".join(sums).encode()).hexdigest(), copyright_file


def add_package(bill: Bill, package: Path, fields: dict[str, str]) -> str:
    """Adds the package that the bill is of; its identifier."""
    identifier = spdx_id("Package", fields["Package"])
    code, copyright_file = add_files(bill, package, identifier)
    row = {key.lower(): fields[key] for key in ("Version", "Architecture")} | {"name": fields["Package"]}
    bill.packages.insert(
        0,
        {
            "SPDXID": identifier,
            "name": fields["Package"],
            "versionInfo": fields["Version"],
            "packageFileName": package.name,
            "supplier": f"Organization: {fields['Maintainer'].split(' <')[0]}",
            "summary": fields["Description"].splitlines()[0],
            "downloadLocation": NONE,
            "filesAnalyzed": True,
            "packageVerificationCode": {"packageVerificationCodeValue": code},
            "checksums": checksums(package.read_bytes()),
            "externalRefs": [purl(row)],
            **bill.licence_of(copyright_file),
        },
    )
    bill.relate("SPDXRef-DOCUMENT", "DESCRIBES", identifier)
    return identifier


def fields_of(package: Path) -> dict[str, str]:
    """The control fields of a package."""
    text = run("dpkg-deb", "--field", package)
    return dict(re.findall(r"^(\S+): ?(.*(?:\n .*)*)", text, re.M))


def document(package: Path, root: Root, seconds: int) -> Json:
    fields = fields_of(package)
    root.add_built_beside(package)
    bill = Bill(root, seconds)
    owner = add_package(bill, package, fields)
    for field, kind, is_first in FIELDS:
        for name in names_in(fields.get(field, "")):
            # What is only suggested need not be in the root, and then has no version to tell.
            if not is_first and root.find(name) is None:
                continue
            other = bill.add_relied_on(name)
            bill.relate(*((owner, kind, other) if is_first else (other, kind, owner)))
    for name in COMPILED_IN.get(fields["Package"], ()):
        bill.relate(owner, "STATIC_LINK", bill.add_relied_on(name))
    name = package.name.removesuffix(".deb")
    digest = bill.packages[0]["checksums"][1]["checksumValue"]
    return {
        "spdxVersion": "SPDX-2.3",
        "dataLicense": "CC0-1.0",
        "SPDXID": "SPDXRef-DOCUMENT",
        "name": name,
        "documentNamespace": f"https://tarvex.example/spdx/{name}-{digest}",
        "creationInfo": {"created": bill.made, "creators": ["Tool: tarvex-sbom"]},
        "documentDescribes": [owner],
        "packages": bill.packages,
        "files": bill.files,
        "hasExtractedLicensingInfos": [
            {"licenseId": key, "extractedText": text} for key, text in sorted(bill.texts.items())
        ],
        "relationships": bill.relations,
    }


if __name__ == "__main__":
    made = document(Path(sys.argv[1]), Root(Path(sys.argv[2])), int(sys.argv[3]))
    json.dump(made, sys.stdout, indent=1, ensure_ascii=False)
    sys.stdout.write("\n")
