#!/usr/bin/python3
# Compares bills of materials with their packages: the files and their sums, what the programs link, and the
# packages that the Debian package depends on by dpkg-shlibdeps' account.
# Usage: against_package.py PACKAGE...   each with PACKAGE.spdx.json beside it
import hashlib
import json
import os
import re
import subprocess
import sys
import tempfile


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def unpack(package, folder):
    if package.endswith(".deb"):
        subprocess.run(["dpkg-deb", "--extract", package, folder], check=True)
    else:
        subprocess.run(["sh", "-c", 'rpm2cpio "$1" | cpio --extract --quiet --make-directories', "sh",
                        os.path.abspath(package)], check=True, cwd=folder)


def sums_of_files(folder):
    sums = {}
    for parent, _, names in os.walk(folder):
        for name in names:
            path = os.path.join(parent, name)
            if not os.path.islink(path):
                with open(path, "rb") as file:
                    content = file.read()
                sums["./" + os.path.relpath(path, folder)] = {
                    "SHA1": hashlib.sha1(content).hexdigest(),
                    "SHA256": hashlib.sha256(content).hexdigest()}
    return sums


def checksums(entry):
    return {each["algorithm"]: each["checksumValue"] for each in entry["checksums"]}


def check(package):
    with open(package + ".spdx.json", encoding="utf-8") as file:
        document = json.load(file)
    own = document["packages"][0]
    with open(package, "rb") as file:
        assert checksums(own) == {"SHA256": hashlib.sha256(file.read()).hexdigest()}
    assert own["packageFileName"] == document["name"] == os.path.basename(package)
    with tempfile.TemporaryDirectory() as folder:
        unpack(package, folder)
        sums = sums_of_files(folder)
    assert sums, "no file"
    assert {each["fileName"]: checksums(each) for each in document["files"]} == sums
    related = {}
    for each in document["relationships"]:
        related.setdefault(each["relationshipType"], []).append(each["relatedSpdxElement"])
    assert related["DESCRIBES"] == [own["SPDXID"]]
    assert related["CONTAINS"] == [each["SPDXID"] for each in document["files"]]
    libraries = {each["SPDXID"]: each for each in document["packages"][1:]}
    loaded = [libraries[each] for each in related.get("DEPENDS_ON", [])]
    built_in = [libraries[each] for each in related.get("STATIC_LINK", [])]
    assert len(loaded) + len(built_in) >= len(libraries)
    for library in libraries.values():
        # A library of which neither is known could be any.
        assert "versionInfo" in library or "checksums" in library, library
    if not package.endswith(".deb"):
        return
    for library in libraries.values():
        for reference in library.get("externalRefs", []):
            version = output("dpkg-query", "--show", "--showformat=${Version}", library["name"])
            assert library["versionInfo"] == version, library
            url = f"pkg:deb/debian/{library['name']}@{version.replace('+', '%2B').replace(':', '%3A')}?arch="
            assert reference["referenceLocator"].startswith(url), reference
    name, version, depends = (output("dpkg-deb", "--field", package, field).strip()
                              for field in ("Package", "Version", "Depends"))
    assert (own["name"], own["versionInfo"]) == (name, version)
    needs = {re.sub(r" .*", "", each) for each in depends.split(", ")}
    names = {each["name"] for each in loaded}
    # Who links an archive builds with the package of the library's headers.
    assert {re.sub("^libssl-dev$", "libssl3", each) for each in needs} == names, (needs, names)
    expected = {
        "vamctl": {"CLI11", "nlohmann_json"},
        "vam-simulator": {"CLI11", "nlohmann_json", "tomlplusplus", "libgcc-dev", "libstdc++-dev"}}
    names = {re.sub("-[0-9]+-dev$", "-dev", each["name"]) for each in built_in}
    assert names == expected.get(name, set()), names


for each in sys.argv[1:]:
    check(each)
print(len(sys.argv) - 1, "packages")
