"""macOS's own tools make the distribution package, and the hosting site's a release; here stand-ins
take their place and record how they are called."""

import os
import shutil
import subprocess
import xml.etree.ElementTree

from harness.machine import ROOT, VERSION
from package.archive import NAME, ArchiveTest

TOOL = """\
echo "${0##*/} $*" | sed "s|$TMPDIR/[^/ ]*|WORK|g" >> "$CALLS"
case ${0##*/}-$1 in
pkgbuild-*) for file; do :; done; (cd "$2" && find .) > "$file" ;;
productbuild-*) for file; do :; done; cat "$2" > "$file"; [ -f "$4/tamsel.pkg" ] || exit 1 ;;
pkgutil---payload-files) grep -v "$LESS_FILES" "$2"; printf "$MORE_FILES" ;;
gh-*) cat > "$NOTES" ;;
esac
"""
IDENTITIES = {"TAMSEL_APPLICATION_IDENTITY": "Application: X", "TAMSEL_INSTALLER_IDENTITY": "Installer: X",
              "TAMSEL_NOTARY_PROFILE": "profile"}
CLEAN = "xattr -cr WORK/root"
SIGNED = [f"codesign {how} WORK/root/usr/local/libexec/tamsel/{program}"
          for program in ("Tamsel", "tamsel-deploy")
          for how in ("--force --options runtime --timestamp --sign Application: X",
                      "--verify --strict --all-architectures")]
PACKAGE = (f"pkgbuild --root WORK/root --identifier local.tamsel --version {VERSION} --ownership recommended"
           " --info packaging/macos/PackageInfo WORK/tamsel.pkg")
LIST = "pkgutil --payload-files WORK/tamsel.pkg"
PRODUCT = "productbuild --distribution WORK/distribution.xml --package-path WORK "


class TreeTest(ArchiveTest):
    """A tree of its own, with an archive in dist."""

    def setUp(self):
        super().setUp()
        self.tree = self.folder / "tree"
        for name in ("packaging", "scripts"):
            shutil.copytree(ROOT / name, self.tree / name)
        for name in ("CMakeLists.txt", "CHANGELOG.md"):
            shutil.copy(ROOT / name, self.tree)
        (self.tree / "dist").mkdir()
        self.pack_into_dist()
        for name in ("codesign", "pkgbuild", "productbuild", "pkgutil", "xattr", "xcrun", "gh"):
            self.make_tool(name, TOOL)
        (self.folder / "work").mkdir()

    def pack_into_dist(self):
        self.pack()
        for name in (self.archive.name, "SHA256SUMS"):
            shutil.copy(self.folder / name, self.tree / "dist")

    def call(self, script, *arguments, **variables):
        """The result of a script, and its calls of the tools."""
        finished = subprocess.run(
            [self.tree / script, *arguments], capture_output=True, text=True, check=False,
            env={"PATH": f"{self.tools}:{os.environ['PATH']}", "TMPDIR": str(self.folder / "work"),
                 "CALLS": str(self.folder / "calls"), "NOTES": str(self.folder / "notes"),
                 "MORE_FILES": "", "LESS_FILES": "^$", **variables})
        self.assertEqual(list((self.folder / "work").iterdir()), [])
        calls = self.folder / "calls"
        return finished, calls.read_text().splitlines() if calls.exists() else []


class OnAMac(TreeTest):
    """The scripts on a Mac, played by a few tools."""

    def setUp(self):
        super().setUp()
        self.make_tool("uname", "echo Darwin\n")
        for name in ("brew", "cmake"):
            self.make_tool(name, "")

    def test_the_archive_replaces_nothing_else_in_dist(self):
        shutil.copy(ROOT / "README.md", self.tree)
        shutil.copytree(ROOT / "man", self.tree / "man")
        shutil.copytree(self.unpacked, self.tree / "build-universal")
        dist = self.tree / "dist"
        for name in ("SHA256SUMS", self.archive.name, f"tamsel-{VERSION}.pkg"):
            (dist / name).write_text("old")
        finished, _ = self.call("scripts/package")
        self.assertEqual((finished.stderr, finished.returncode), ("", 0))
        self.assertIn(": all is as it should be\n", finished.stdout)
        self.assertEqual({path.name for path in dist.iterdir() if path.read_bytes() == b"old"},
                         {f"tamsel-{VERSION}.pkg"})

    def test_nothing_is_built_twice(self):
        finished, _ = self.call("packaging/check-reproducible")
        self.assertEqual((finished.stdout, finished.stderr, finished.returncode),
                         ("", "check-reproducible: only Linux builds the same bytes twice\n", 1))


class Distribution(TreeTest):
    def make(self, **variables):
        return self.call("packaging/macos/make-distribution", **variables)

    def test_signed_and_notarized(self):
        finished, calls = self.make(**IDENTITIES)
        self.assertEqual((finished.stderr, finished.returncode), ("", 0))
        self.assertEqual(calls, [
            CLEAN, *SIGNED, PACKAGE, LIST,
            PRODUCT + f"--sign Installer: X dist/tamsel-{VERSION}.pkg",
            f"pkgutil --check-signature dist/tamsel-{VERSION}.pkg",
            f"xcrun notarytool submit dist/tamsel-{VERSION}.pkg --keychain-profile profile --wait",
            f"xcrun stapler staple dist/tamsel-{VERSION}.pkg"])

    def test_describes_itself_to_the_installer(self):
        self.make()
        product = xml.etree.ElementTree.parse(self.tree / "dist" / f"tamsel-{VERSION}.pkg")
        self.assertEqual(product.find("title").text, f"Tamsel {VERSION}")
        self.assertEqual(product.find("volume-check/allowed-os-versions/os-version").get("min"), "10.13")
        packages = [(package.get("id"), package.get("version"), package.text)
                    for package in product.findall("pkg-ref")]
        self.assertEqual(packages, [("local.tamsel", VERSION, "tamsel.pkg")])
        info = xml.etree.ElementTree.parse(ROOT / "packaging" / "macos" / "PackageInfo").getroot()
        self.assertEqual((info.tag, info.attrib), ("pkg-info", {"overwrite-permissions": "false"}))

    def test_says_loudly_when_anything_is_unsigned(self):
        for name in IDENTITIES:
            finished, _ = self.make(**{**IDENTITIES, name: ""})
            self.assertEqual(finished.returncode, 0)
            self.assertIn("THIS PACKAGE IS NOT SIGNED AND NOTARIZED", finished.stderr)

    def test_unsigned(self):
        finished, calls = self.make()
        self.assertEqual(finished.returncode, 0)
        self.assertEqual(calls, [CLEAN, PACKAGE, LIST, PRODUCT + f"dist/tamsel-{VERSION}.pkg"])

    def test_refuses_arguments(self):
        finished, calls = self.call("packaging/macos/make-distribution", "--sign")
        self.assertEqual((calls, finished.returncode), ([], 2))
        self.assertIn("unknown argument --sign", finished.stderr)

    def test_refuses_other_files(self):
        refusal = ("make-distribution: the package lacks files (<) or has others (>) than"
                   " packaging/macos/files\n")
        for variables, difference in (({"MORE_FILES": "./usr/local/bin/._Tamsel\\n"},
                                       "0a1\n> usr/local/bin/._Tamsel\n"),
                                      ({"LESS_FILES": "uninstall"},
                                       "6d5\n< usr/local/libexec/tamsel/uninstall\n")):
            with self.subTest(difference):
                (self.folder / "calls").unlink(missing_ok=True)
                finished, calls = self.make(**variables)
                self.assertEqual((calls, finished.returncode), ([CLEAN, PACKAGE, LIST], 1))
                self.assertEqual(finished.stderr, difference + refusal)

    def test_refuses_another_version(self):
        lists = (self.tree / "CMakeLists.txt").read_text()
        (self.tree / "CMakeLists.txt").write_text(lists.replace("VERSION " + VERSION, "VERSION 9.9.9"))
        self.unpacked = self.unpacked.rename(self.folder / "tamsel-9.9.9-macos-universal")
        self.archive = self.tree / "dist" / "tamsel-9.9.9-macos-universal.tar.gz"
        self.pack()
        shutil.copy(self.folder / "SHA256SUMS", self.tree / "dist")
        finished, calls = self.make()
        self.assertEqual((calls, finished.returncode), ([], 1))
        self.assertIn("Tamsel: the text '9.9.9' is there", finished.stderr)


class Release(TreeTest):
    def test_publishes_the_archive_with_its_changes(self):
        (self.tree / "CHANGELOG.md").write_text(
            f"# Changes\n\n## {VERSION} – today\n\n- New.\n\n## 0.9 – long ago\n\n- Old.\n")
        finished, calls = self.call("packaging/release", f"v{VERSION}")
        self.assertEqual((finished.stderr, finished.returncode), ("", 0))
        self.assertEqual(calls, [
            f"gh release create v{VERSION} --verify-tag --title Tamsel {VERSION} --notes-file -"
            f" dist/{NAME}.tar.gz dist/SHA256SUMS"])
        self.assertEqual((self.folder / "notes").read_text(), "\n- New.\n\n")
        for outcome, more in (("success", ""),
                              ("failure", "There is no attestation of where this archive was built.\n")):
            self.call("packaging/release", f"v{VERSION}", outcome)
            self.assertEqual((self.folder / "notes").read_text(), "\n- New.\n\n" + more)

    def test_refuses_the_tag_of_another_version(self):
        for tag in ("v9.9.9", VERSION, "main"):
            finished, calls = self.call("packaging/release", tag)
            self.assertEqual((calls, finished.returncode), ([], 1))
            self.assertIn("the tree is of version " + VERSION, finished.stderr)

    def test_refuses_to_guess_the_tag(self):
        for arguments in ([], [""]):
            finished, calls = self.call("packaging/release", *arguments)
            self.assertEqual((calls, finished.stdout, finished.returncode), ([], "", 2))
            self.assertIn("a tag is missing", finished.stderr)

    def test_refuses_a_wrong_archive(self):
        (self.tree / "dist" / "SHA256SUMS").write_text("")
        finished, calls = self.call("packaging/release", f"v{VERSION}")
        self.assertEqual((calls, finished.returncode), ([], 1))
