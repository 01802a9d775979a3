"""Each rule of spdx.py fires on a bill that breaks it, and licences.py says what a copyright file says."""

import copy
import hashlib
import sys

import pytest
import spdx
from program import SOURCE_DIR

sys.path.insert(0, str(SOURCE_DIR / "packaging"))
import licences  # noqa: E402

SUM = "a" * 40
GOOD = {
    "spdxVersion": "SPDX-2.3",
    "dataLicense": "CC0-1.0",
    "SPDXID": "SPDXRef-DOCUMENT",
    "name": "good_1",
    "documentNamespace": "https://a.example/good_1",
    "creationInfo": {"created": "2026-11-22T08:00:00Z", "creators": ["Tool: hand"]},
    "packages": [
        {
            "SPDXID": "SPDXRef-Package-good",
            "name": "good",
            "supplier": "Organization: Good",
            "downloadLocation": "NOASSERTION",
            "filesAnalyzed": True,
            "packageVerificationCode": {
                "packageVerificationCodeValue": hashlib.sha1(SUM.encode()).hexdigest()
            },
            "licenseDeclared": "(MIT OR LicenseRef-own) AND GPL-2.0-only WITH Linux-syscall-note",
            "externalRefs": [{"referenceLocator": "pkg:deb/debian/good@1%3A1-1?arch=all"}],
        }
    ],
    "files": [
        {
            "SPDXID": "SPDXRef-File-a",
            "fileName": "./a",
            "fileTypes": ["TEXT"],
            "checksums": [{"algorithm": "SHA1", "checksumValue": SUM}],
        }
    ],
    "hasExtractedLicensingInfos": [{"licenseId": "LicenseRef-own", "extractedText": "Do."}],
    "relationships": [
        {
            "spdxElementId": "SPDXRef-DOCUMENT",
            "relationshipType": "DESCRIBES",
            "relatedSpdxElement": "SPDXRef-Package-good",
        },
        {
            "spdxElementId": "SPDXRef-Package-good",
            "relationshipType": "CONTAINS",
            "relatedSpdxElement": "SPDXRef-File-a",
        },
    ],
}

# Where, what stands there then (None: nothing), and what the fault says.
BROKEN = [
    (("name",), None, "the document: no name"),
    (("note",), "x", "the document: what is note?"),
    (("spdxVersion",), "SPDX-2.2", "another version"),
    (("documentNamespace",), "good#1", "its namespace"),
    (("creationInfo", "created"), "today", "when it was made"),
    (("packages", 0, "SPDXID"), "SPDXRef-a_b", "SPDXRef-a_b is no identifier"),
    (("packages", 0, "SPDXID"), "SPDXRef-File-a", "SPDXRef-File-a: twice"),
    (("packages", 0, "downloadLocation"), None, "SPDXRef-Package-good: no downloadLocation"),
    (("packages", 0, "supplier"), "Good", "supplied by Good"),
    (("packages", 0, "licenseDeclared"), "GPL-2+", "no licence is called GPL-2+"),
    (("packages", 0, "licenseDeclared"), "MIT ISC", "MIT ISC is no expression"),
    (("packages", 0, "licenseDeclared"), "(MIT AND", "(MIT AND is no expression"),
    (("packages", 0, "filesAnalyzed"), False, "a verification code goes with"),
    (("packages", 0, "packageVerificationCode"), None, "a verification code goes with"),
    (("packages", 0, "externalRefs", 0, "referenceLocator"), "good-1", "good-1 is no package URL"),
    (("files", 0, "fileName"), "a", "a does not begin with ./"),
    (("files", 0, "fileTypes"), ["PAPER"], "what is a file of PAPER?"),
    (("files", 0, "checksums", 0, "checksumValue"), "b", "SHA1 is b"),
    (("files", 0, "checksums", 0, "checksumValue"), "b" * 40, "the verification code is"),
    (("files", 0, "checksums"), [], "SPDXRef-File-a: no SHA1"),
    (("hasExtractedLicensingInfos",), [], "no licence is called LicenseRef-own"),
    (("hasExtractedLicensingInfos", 0, "extractedText"), "", "LicenseRef-own: no text"),
    (("relationships", 0, "relationshipType"), "LIKES", "no relation is called LIKES"),
    (("relationships", 0, "relatedSpdxElement"), "SPDXRef-b", "names SPDXRef-b, which is not there"),
    (("relationships",), [], "SPDXRef-File-a: nothing relates to it"),
]


def test_a_good_bill_has_no_faults():
    assert spdx.faults(GOOD) == []


@pytest.mark.parametrize("place,value,fault", BROKEN, ids=lambda value: str(value)[:40])
def test_a_broken_rule_is_told(place, value, fault):
    bill = copy.deepcopy(GOOD)
    holder = bill
    for step in place[:-1]:
        holder = holder[step]
    if value is None:
        del holder[place[-1]]
    else:
        holder[place[-1]] = value
    assert any(fault in line for line in spdx.faults(bill)), spdx.faults(bill)


COPYRIGHT = """Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/
Source: nowhere

Files: *
Copyright: 2020 A
 2021 B
License: GPL-2+ or Expat, and odd/1

Files: x
Copyright: 2020 A
License: LGPL-2.1

License: odd/1
 Do what
 .
 you must.
"""


def test_a_copyright_file_is_read_whole():
    expression, texts, holders = licences.read(COPYRIGHT)
    assert expression == "(GPL-2.0-or-later OR MIT) AND LicenseRef-odd-1 AND LGPL-2.1-only"
    assert texts == {"LicenseRef-odd-1": "Do what\n\nyou must."}
    assert holders == "2020 A\n2021 B"


def test_a_copyright_file_in_no_known_format_tells_nothing():
    assert licences.read("This is free software, in its way.\n") == ("", {}, "")
