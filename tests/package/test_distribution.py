"""From the checkout to a release: the archive, the distribution package and what is published."""

import hashlib
import io
import re
import tarfile
import xml.etree.ElementTree

from harness.machine import ROOT, VERSION
from harness.checkout import ARCHIVE, NAME, UNSIGNED, CheckoutTest

PACKAGE = f"dist/tamsel-{VERSION}.pkg"
SIGNING = ("TAMSEL_APPLICATION_IDENTITY=Application: X, Inc.", "TAMSEL_INSTALLER_IDENTITY=Installer: X, Inc.",
           "TAMSEL_NOTARY_PROFILE=profile")
PROGRAMS = [f"WORK/root/usr/local/libexec/tamsel/{name}" for name in ("Tamsel", "tamsel-deploy")]
MADE = [f"check-package {ARCHIVE}", "xattr -cr WORK/root"]
BUILT = [f"pkgbuild --root WORK/root --identifier local.tamsel --version {VERSION} --ownership recommended"
         " --info packaging/macos/PackageInfo WORK/tamsel.pkg", "pkgutil --payload-files WORK/tamsel.pkg"]
PRODUCT = "productbuild --distribution WORK/distribution.xml --package-path WORK "


class DistributionTest(CheckoutTest):
    def setUp(self):
        super().setUp()
        (self.tree / "Resources" / "XManConfigV2.xml").write_text("the vendor's")
        self.succeed("scripts/package")
        self.calls.unlink()

    def make(self, **how):
        return self.call("packaging/macos/make-distribution", **how)

    def called(self):
        return self.calls.read_text().splitlines()

    def assert_lists(self, *names):
        """SHA256SUMS is of these files, which are all that is in dist."""
        dist = self.tree / "dist"
        self.assertEqual((dist / "SHA256SUMS").read_text(), "".join(
            f"{hashlib.sha256((self.tree / name).read_bytes()).hexdigest()}  {name[5:]}\n" for name in names))
        self.assertEqual({f"dist/{path.name}" for path in dist.iterdir()}, {"dist/SHA256SUMS", *names})

    def assert_refuses(self, status, reason, script, *arguments, **how):
        result = self.call(script, *arguments, **how)
        self.assertEqual(result.status, status)
        self.assertIn(reason, result.err.decode())


class Distribution(DistributionTest):
    def test_holds_the_files_of_the_checkout(self):
        self.assertEqual(self.make().out.decode().splitlines()[-1], UNSIGNED)
        self.assertEqual(self.called(), MADE + BUILT + [PRODUCT + UNSIGNED])
        self.assert_lists(ARCHIVE, UNSIGNED)
        with tarfile.open(self.tree / UNSIGNED) as product:
            description = xml.etree.ElementTree.parse(product.extractfile("distribution.xml"))
            content = io.BytesIO(product.extractfile("tamsel.pkg").read())
        with tarfile.open(fileobj=content) as package:
            self.assertEqual(sorted(member.name[2:] for member in package if member.isfile()),
                             (ROOT / "packaging" / "macos" / "files").read_text().splitlines())
            file = package.extractfile("./usr/local/libexec/tamsel/Resources/XManConfigV2.xml")
            self.assertEqual(file.read(), b"the vendor's")
        self.assertEqual(description.find("title").text, f"Tamsel {VERSION}")
        oldest, = re.findall(r"CMAKE_OSX_DEPLOYMENT_TARGET (\S+) ", (ROOT / "CMakeLists.txt").read_text())
        self.assertEqual(description.find(".//os-version").get("min"), oldest)
        self.assertEqual([(package.get("id"), package.get("version"), package.text)
                          for package in description.findall("pkg-ref")],
                         [("local.tamsel", VERSION, "tamsel.pkg")])
        # Or the installer would take folders away from those who own them.
        info = xml.etree.ElementTree.parse(ROOT / "packaging" / "macos" / "PackageInfo").getroot()
        self.assertEqual((info.tag, info.attrib), ("pkg-info", {"overwrite-permissions": "false"}))

    def test_signed_and_notarized(self):
        self.assertEqual(self.make(variables=SIGNING).out.decode().splitlines()[-1], PACKAGE)
        signed = [f"codesign {how} {program}" for program in PROGRAMS
                  for how in ("--force --options runtime --timestamp --sign Application: X, Inc.",
                              "--verify --strict --all-architectures")]
        self.assertEqual(self.called(), [
            *MADE, *signed, *BUILT, PRODUCT + f"--sign Installer: X, Inc. {PACKAGE}",
            f"pkgutil --check-signature {PACKAGE}",
            f"xcrun notarytool submit {PACKAGE} --keychain-profile profile --wait",
            f"xcrun stapler staple {PACKAGE}"])
        self.assert_lists(ARCHIVE, PACKAGE)

    def test_refusals(self):
        script = "packaging/macos/make-distribution"
        self.assert_refuses(2, "all three variables", script, variables=SIGNING[:2])
        self.assert_refuses(1, "0a1\n> usr/local/bin/._Tamsel\nmake-distribution: the package lacks", script,
                            variables=["MORE_FILES=./usr/local/bin/._Tamsel\\n"])
        self.assert_refuses(2, "usage: packaging/macos/make-distribution\n", script, "--sign")
        self.assert_lists(ARCHIVE)


class Release(DistributionTest):
    def test_publishes_what_is_listed_with_its_changes(self):
        (self.tree / "CHANGELOG.md").write_text(
            f"# Changes\n\n## {VERSION} – today\n\n- New.\n\n## 0.9 – long ago\n\n- Old.\n")
        unsigned = "The distribution package is neither signed nor notarized.\n"
        unattested = "There is no attestation of where these files were built.\n"
        for signing, package, outcome, notes in (
                ((), UNSIGNED, [], unsigned),
                (SIGNING, PACKAGE, ["success"], ""),
                (SIGNING, PACKAGE, ["failure"], unattested)):
            self.make(variables=signing)
            self.succeed("packaging/release", f"v{VERSION}", *outcome)
            self.assertEqual(self.called()[-2:], [
                f"check-package {ARCHIVE}",
                f"gh release create v{VERSION} --verify-tag --title Tamsel {VERSION} --notes-file -"
                f" {NAME}.tar.gz {package[5:]} SHA256SUMS"])
            self.assertEqual(self.notes.read_text(), "\n- New.\n\n" + notes)

    def test_refusals(self):
        for tag in ([], ["v9.9.9"], [VERSION]):
            self.assert_refuses(1, "the tree is of version " + VERSION, "packaging/release", *tag)
        self.assert_refuses(1, "lists no package", "packaging/release", f"v{VERSION}")
        self.make()
        (self.tree / UNSIGNED).write_text("another")
        self.assert_refuses(1, "did NOT match", "packaging/release", f"v{VERSION}")
        self.assertFalse(self.notes.exists())
