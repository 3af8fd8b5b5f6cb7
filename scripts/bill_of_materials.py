"""Writes what a release consists of: its packages, what is linked into them, what they depend on, as SPDX 2.3 in JSON. The same
packages give the same text.

    bill_of_materials.py VERSION FOLDER     (of the packages; written to the standard output)
"""
import datetime
import hashlib
import json
import os
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).parent.parent
CODECS = ROOT / "build/codecs/windows-x86/versions"
LICENSES = {
    "libpng1.6": "libpng-2.0", "libjpeg-turbo": "IJG AND BSD-3-Clause AND Zlib", "tiff": "libtiff", "zlib": "Zlib",
    "CLI11": "BSD-3-Clause", "nlohmann-json": "MIT", "gcc-runtime": "GPL-3.0-or-later WITH GCC-exception-3.1",
    "mingw-w64": "ZPL-2.1 AND MIT",
}
# Of these Debian packages; those of the codecs stand in CODECS, in the form of source packages.
FROM_PACKAGES = {"CLI11": "libcli11-dev", "nlohmann-json": "nlohmann-json3-dev", "gcc-runtime": "g++-mingw-w64-i686-posix",
                 "mingw-w64": "mingw-w64-i686-dev"}
HEADERS_ONLY = ("CLI11", "nlohmann-json")


def output(*command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout


def reference(name):
    return "SPDXRef-" + re.sub(r"[^A-Za-z0-9.-]", "-", name)


def package(name, version, license_, **more):
    return {"SPDXID": reference(name), "name": name, "versionInfo": version, "downloadLocation": "NOASSERTION",
            "filesAnalyzed": False, "licenseConcluded": license_, "licenseDeclared": license_,
            "copyrightText": "NOASSERTION", **more}


def debian(name, version):
    url = f"pkg:deb/debian/{name}" + (f"@{version.replace(':', '%3A').replace('+', '%2B')}" if version else "")
    return {"externalRefs": [{"referenceCategory": "PACKAGE-MANAGER", "referenceType": "purl", "referenceLocator": url}]}


def components():
    """What is linked into the release, by its name in LICENSES."""
    found = dict(line.split() for line in CODECS.read_text(encoding="utf-8").splitlines())
    names = {name: name for name in found}
    for name, source in FROM_PACKAGES.items():
        found[name] = output("dpkg-query", "-W", "-f", "${Version}", source)
        names[name] = source
    return [package(name, found[name], LICENSES[name], **debian(names[name], found[name])) for name in sorted(found)]


def main(version, folder):
    linked = components()
    packages, relations, needed = [], [], set()
    for path in sorted(folder.iterdir()):
        sums = [{"algorithm": "SHA256", "checksumValue": hashlib.sha256(path.read_bytes()).hexdigest()}]
        packages.append(package(path.name, version, "MIT", packageFileName=path.name, checksums=sums))
        relations.append(("SPDXRef-DOCUMENT", "DESCRIBES", reference(path.name)))
        if path.name.endswith("windows-x86.zip"):
            relations += [(reference(path.name), "STATIC_LINK", each["SPDXID"]) for each in linked]
        elif path.name.startswith("tnkrn-tools_"):
            relations += [(reference(path.name), "STATIC_LINK", reference(each)) for each in HEADERS_ONLY]
        if path.suffix == ".deb":
            for each in re.findall(r"([a-z0-9.+-]+)(?: \([^)]*\))?(?:,|$)", output("dpkg-deb", "-f", path, "Depends").strip()):
                own = [other for other in folder.glob(f"{each}_*.deb")]
                needed |= set() if own else {each}
                relations.append((reference(path.name), "DEPENDS_ON", reference(own[0].name if own else each)))
    packages += linked
    packages += [package(name, "of the system", "NOASSERTION", **debian(name, "")) for name in sorted(needed)]

    when = datetime.datetime.fromtimestamp(int(os.environ["SOURCE_DATE_EPOCH"]), datetime.timezone.utc)
    digest = hashlib.sha256(json.dumps(packages).encode()).hexdigest()
    json.dump({
        "spdxVersion": "SPDX-2.3", "dataLicense": "CC0-1.0", "SPDXID": "SPDXRef-DOCUMENT", "name": f"tnkrn-{version}",
        "documentNamespace": f"https://spdx.org/spdxdocs/tnkrn-{version}-{digest}",
        "creationInfo": {"created": when.strftime("%Y-%m-%dT%H:%M:%SZ"),
                         "creators": ["Organization: The Tarnkit kernel authors", "Tool: scripts/bill_of_materials.py"]},
        "packages": packages,
        "relationships": [{"spdxElementId": a, "relationshipType": kind, "relatedSpdxElement": b} for a, kind, b in relations],
    }, sys.stdout, indent=1)
    print()


if __name__ == "__main__":
    main(sys.argv[1], pathlib.Path(sys.argv[2]))
