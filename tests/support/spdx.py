"""The rules of SPDX 2.3 in JSON, of those parts that the bills of materials use.

`faults` looks at a whole document and returns a readable line for each rule that it breaks; an empty
list is a good document. A member that is not known here is a fault.
Source: The System Package Data Exchange (SPDX) Specification, version 2.3, and its JSON schema.
"""

import hashlib
import re

NONE = ("NOASSERTION", "NONE")
ID = re.compile(r"SPDXRef-[A-Za-z0-9.-]+")
TIME = re.compile(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ")
HEX = {"SHA1": re.compile(r"[0-9a-f]{40}"), "SHA256": re.compile(r"[0-9a-f]{64}")}
# Of SPDX's list of licences, version 3.20, those that Debian's copyright files of our packages may name.
LICENCES = set(
    """Apache-2.0 Artistic-2.0 BSD-2-Clause BSD-3-Clause BSD-4-Clause CC0-1.0 FTL
    GFDL-1.3-no-invariants-only GPL-1.0-or-later GPL-2.0-only GPL-2.0-or-later GPL-3.0-only
    GPL-3.0-or-later ISC LGPL-2.0-only LGPL-2.0-or-later LGPL-2.1-only LGPL-2.1-or-later LGPL-3.0-only
    LGPL-3.0-or-later MIT MPL-2.0 Python-2.0 Zlib""".split()
)
EXCEPTIONS = {"Linux-syscall-note"}
OWN = re.compile(r"LicenseRef-[A-Za-z0-9.-]+")
RELATIONS = set(
    "DESCRIBES CONTAINS DEPENDS_ON OPTIONAL_DEPENDENCY_OF STATIC_LINK BUILD_DEPENDENCY_OF".split()
)
FILE_TYPES = set(
    "SOURCE BINARY ARCHIVE APPLICATION AUDIO IMAGE TEXT VIDEO DOCUMENTATION SPDX OTHER".split()
)
CREATOR = re.compile(r"(Tool|Organization|Person): .+")
SUPPLIER = re.compile(r"(Organization|Person): .+")

# Member -> whether it has to be there.
DOCUMENT = {
    "spdxVersion": True, "dataLicense": True, "SPDXID": True, "name": True, "documentNamespace": True,
    "creationInfo": True, "documentDescribes": False, "packages": False, "files": False,
    "hasExtractedLicensingInfos": False, "relationships": False,
}  # fmt: skip
PACKAGE = {
    "SPDXID": True, "name": True, "downloadLocation": True, "versionInfo": False, "supplier": False,
    "packageFileName": False, "summary": False, "filesAnalyzed": False, "checksums": False,
    "packageVerificationCode": False, "licenseConcluded": False, "licenseDeclared": False,
    "copyrightText": False, "externalRefs": False,
}  # fmt: skip
FILE = {
    "SPDXID": True, "fileName": True, "checksums": True, "fileTypes": False, "licenseConcluded": False,
    "licenseInfoInFiles": False, "copyrightText": False,
}  # fmt: skip


def members(what, given, known):
    """Members that are missing, and those that nobody knows."""
    missing = [f"{what}: no {name}" for name, needed in known.items() if needed and name not in given]
    return missing + [f"{what}: what is {name}?" for name in given if name not in known]


def sums(what, given):
    found = []
    for one in given.get("checksums", ()):
        pattern = HEX.get(one["algorithm"])
        if pattern is None or not pattern.fullmatch(one["checksumValue"]):
            found.append(f"{what}: {one['algorithm']} is {one['checksumValue']}")
    return found


def licence(what, text, own):
    """Faults of an expression of licences; `own` are those that the document explains itself."""
    if text in NONE:
        return []
    tokens = re.findall(r"[()]|[^\s()]+", text)
    found = []
    for before, token in zip(["", *tokens], tokens):
        if token in ("(", ")", "AND", "OR", "WITH"):
            continue
        known = EXCEPTIONS if before == "WITH" else LICENCES | own
        if token not in known:
            found.append(f"{what}: no licence is called {token}")
    # What is left of a sound expression when each of its terms is one, and each pair of brackets.
    rest = re.sub(r"[^\s()]+ WITH [^\s()]+", "1", text)
    rest = re.sub(r"[^\s()]+", lambda word: word[0] if word[0] in ("AND", "OR") else "1", rest)
    while (shorter := re.sub(r"\(1\)|1 (?:AND|OR) 1", "1", rest)) != rest:
        rest = shorter
    return found if rest == "1" else [*found, f"{what}: {text} is no expression"]


def package_faults(package, own):
    what = package.get("SPDXID", "a package")
    found = members(what, package, PACKAGE) + sums(what, package)
    for name in ("licenseConcluded", "licenseDeclared"):
        found += licence(what, package.get(name, "NONE"), own)
    if not SUPPLIER.fullmatch(package.get("supplier", "")):
        found.append(f"{what}: supplied by {package.get('supplier')}")
    analyzed = package.get("filesAnalyzed", True)
    if analyzed != ("packageVerificationCode" in package):
        found.append(f"{what}: a verification code goes with files that were looked at")
    for reference in package.get("externalRefs", ()):
        if not re.fullmatch(r"pkg:deb/debian/[a-zA-Z0-9.%+-]+@[^@?\s]+\?arch=\w+", reference["referenceLocator"]):
            found.append(f"{what}: {reference['referenceLocator']} is no package URL")
    return found


def file_faults(file):
    what = file.get("SPDXID", "a file")
    found = members(what, file, FILE) + sums(what, file)
    if not file.get("fileName", "").startswith("./"):
        found.append(f"{what}: {file.get('fileName')} does not begin with ./")
    if "SHA1" not in [one["algorithm"] for one in file.get("checksums", ())]:
        found.append(f"{what}: no SHA1")
    unknown = set(file.get("fileTypes", ())) - FILE_TYPES
    return found + [f"{what}: what is a file of {name}?" for name in sorted(unknown)]


def relation_faults(document, ids):
    found = []
    for relation in document.get("relationships", ()):
        if relation["relationshipType"] not in RELATIONS:
            found.append(f"no relation is called {relation['relationshipType']}")
        for end in ("spdxElementId", "relatedSpdxElement"):
            if relation[end] not in ids:
                found.append(f"a relation names {relation[end]}, which is not there")
    reached = {relation[end] for relation in document.get("relationships", ())
               for end in ("spdxElementId", "relatedSpdxElement")}  # fmt: skip
    return found + [f"{lonely}: nothing relates to it" for lonely in sorted(ids - reached)]


def verification_faults(document):
    """The code of the package whose files these are, over the sums of all files."""
    codes = [package["packageVerificationCode"]["packageVerificationCodeValue"]
             for package in document.get("packages", ()) if "packageVerificationCode" in package]  # fmt: skip
    all_sums = sorted(one["checksumValue"] for file in document.get("files", ())
                      for one in file["checksums"] if one["algorithm"] == "SHA1")  # fmt: skip
    right = hashlib.sha1("".join(all_sums).encode()).hexdigest()
    return [f"the verification code is {code}" for code in codes if code != right]


def faults(document):
    """Every rule that the document breaks, a line each."""
    found = members("the document", document, DOCUMENT)
    if found:
        return found
    if (document["spdxVersion"], document["dataLicense"]) != ("SPDX-2.3", "CC0-1.0"):
        found.append("it is of another version, or under another licence")
    if not re.fullmatch(r"https?://[^\s#]+", document["documentNamespace"]):
        found.append("its namespace is no address, or has a fragment")
    info = document["creationInfo"]
    if not TIME.fullmatch(info["created"]) or not all(map(CREATOR.fullmatch, info["creators"])):
        found.append("it does not say when it was made, or by whom")
    own = {row["licenseId"] for row in document.get("hasExtractedLicensingInfos", ())}
    found += [f"{name} is no name of a licence" for name in sorted(own) if not OWN.fullmatch(name)]
    found += [f"{row['licenseId']}: no text" for row in document.get("hasExtractedLicensingInfos", ())
              if not row["extractedText"]]  # fmt: skip
    elements = [document, *document.get("packages", ()), *document.get("files", ())]
    ids = [element["SPDXID"] for element in elements]
    found += [f"{one} is no identifier" for one in ids if not ID.fullmatch(one)]
    found += [f"{one}: twice" for one in sorted(set(ids)) if ids.count(one) > 1]
    for package in document.get("packages", ()):
        found += package_faults(package, own)
    for file in document.get("files", ()):
        found += file_faults(file)
    return found + relation_faults(document, set(ids)) + verification_faults(document)
