#!/usr/bin/env python3
"""Tests scripts/sbom: the bills have the fields that their formats require, and depend only on the
package."""

import hashlib
import json
import os
import pathlib
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
TIME = "^[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}Z$"
UUID = "^urn:uuid:[0-9a-f]{8}-[0-9a-f]{4}-5[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}$"
LICENCE = r"^[A-Za-z0-9.+-]+( (AND|OR|WITH) [A-Za-z0-9.+-]+)*$"
CONTENTS = b"a package"


class Bills(unittest.TestCase):
    def bills(self, contents=CONTENTS, name="libkelinfra5_1_amd64.deb", **variables):
        """The two bills of a package, as bytes."""
        with tempfile.TemporaryDirectory() as folder:
            package = pathlib.Path(folder) / name
            package.write_bytes(contents)
            environment = {**os.environ, "SOURCE_DATE_EPOCH": "1700000000", **variables}
            subprocess.run([ROOT / "scripts" / "sbom", package], check=True, env=environment)
            return [package.with_name(package.name + suffix).read_bytes()
                    for suffix in (".spdx.json", ".cdx.json")]

    def test_spdx_has_the_fields_of_its_format(self):
        bill = json.loads(self.bills()[0])
        self.assertEqual((bill["spdxVersion"], bill["dataLicense"], bill["SPDXID"]),
                         ("SPDX-2.3", "CC0-1.0", "SPDXRef-DOCUMENT"))
        self.assertTrue(bill["name"])
        self.assertRegex(bill["documentNamespace"], UUID)
        self.assertEqual(bill["creationInfo"]["created"], "2023-11-14T22:13:20Z")
        for creator in bill["creationInfo"]["creators"]:
            self.assertRegex(creator, "^(Tool|Organization|Person): ")
        names = ["SPDXRef-DOCUMENT"]
        for package in bill["packages"]:
            self.assertRegex(package["SPDXID"], "^SPDXRef-[A-Za-z0-9.-]+$")
            self.assertRegex(package["licenseConcluded"], LICENCE)
            self.assertRegex(package["licenseDeclared"], LICENCE)
            self.assertTrue(package["name"] and package["versionInfo"] and package["copyrightText"])
            self.assertEqual((package["downloadLocation"], package["filesAnalyzed"]), ("NOASSERTION", False))
            names.append(package["SPDXID"])
        self.assertEqual(len(names), len(set(names)))
        self.assertEqual(bill["packages"][0]["checksums"],
                         [{"algorithm": "SHA256", "checksumValue": hashlib.sha256(CONTENTS).hexdigest()}])
        links = [(link["spdxElementId"], link["relationshipType"], link["relatedSpdxElement"])
                 for link in bill["relationships"]]
        self.assertEqual(links[0], (names[0], "DESCRIBES", names[1]))
        self.assertEqual([end for _, _, end in links], names[1:])
        for start, kind, _ in links[1:]:
            self.assertEqual(start, names[1])
            self.assertIn(kind, ("CONTAINS", "DYNAMIC_LINK", "STATIC_LINK"))

    def test_cyclonedx_has_the_fields_of_its_format(self):
        bill = json.loads(self.bills()[1])
        self.assertEqual((bill["bomFormat"], bill["specVersion"], bill["version"]), ("CycloneDX", "1.5", 1))
        self.assertRegex(bill["serialNumber"], UUID)
        self.assertRegex(bill["metadata"]["timestamp"], TIME)
        first = bill["metadata"]["component"]
        self.assertEqual(first["hashes"],
                         [{"alg": "SHA-256", "content": hashlib.sha256(CONTENTS).hexdigest()}])
        names = []
        for part in [first, *bill["components"]]:
            self.assertEqual(part["type"], "library")
            self.assertTrue(part["name"] and part["version"])
            for licence in part["licenses"]:
                self.assertRegex(licence["expression"], LICENCE)
            names.append(part["bom-ref"])
        self.assertEqual(len(names), len(set(names)))
        self.assertEqual([entry["ref"] for entry in bill["dependencies"]], names)
        self.assertEqual(bill["dependencies"][0]["dependsOn"], names[1:])

    def test_lists_the_components_of_other_projects(self):
        library = ["icu", "highway", "libstdc++", "libgcc", "glibc"]
        for file, expected in (("libkelinfra5_1_amd64.deb", library), ("libkelinfra5-dbgsym_1_amd64.deb", []),
                               ("libkelinfra-dev_1_amd64.deb", ["icu", "highway"]),
                               ("libkelinfra-doc_1_all.deb", [])):
            with self.subTest(file):
                spdx, cyclonedx = map(json.loads, self.bills(name=file))
                self.assertEqual([package["name"] for package in spdx["packages"][1:]], expected)
                self.assertEqual([part["name"] for part in cyclonedx["components"]], expected)

    def test_the_versions_are_those_of_this_machine(self):
        bill = json.loads(self.bills()[0])
        icu = subprocess.run(["dpkg-query", "-W", "-f=${Version}", "libicu-dev"], check=True, text=True,
                             stdout=subprocess.PIPE).stdout
        self.assertEqual(bill["packages"][1]["versionInfo"], icu)

    def test_refuses_a_package_whose_components_are_not_listed(self):
        with self.assertRaises(subprocess.CalledProcessError):
            self.bills(name="libkelinfra-other_1_amd64.deb")

    def test_depends_only_on_the_package_and_its_time(self):
        bills = self.bills()
        self.assertEqual(bills, self.bills(TZ="Pacific/Kiritimati", LC_ALL="C", PYTHONHASHSEED="7"))
        for different in (self.bills(SOURCE_DATE_EPOCH="1700000001"), self.bills(b"another package")):
            for one, other, key in zip(bills, different, ("documentNamespace", "serialNumber")):
                self.assertNotEqual(json.loads(one)[key], json.loads(other)[key])


unittest.main()
