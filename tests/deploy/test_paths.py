"""Paths of applications: which are taken, which refused, and how their bytes are shown."""

import json
import os

from harness.deploy import ALL_DONE, INCOPY, INDESIGN, NO_APPLICATION, DeployTest

NAME = "Adobe InDesign 2020.app"
# A part of a path, as a line shows it, and as JSON does, the quotes around it left out.
BYTES = [
    (b'"', '"', r'\"'),
    (b"\\", r"\\", r"\\"),
    (b"\n", r"\n", r"\n"),
    (b"\t", r"\x09", r"\u0009"),
    (b"\x1b[2J", r"\x1B[2J", r"\u001B[2J"),
    (b"\x7f", r"\x7F", "\x7f"),
    ("\u0085".encode(), r"\xC2\x85", "\u0085"),
    ("ä☃💩".encode(), "ä☃💩", "ä☃💩"),
    ("\u00a0\ud7ff\ue000\U0010ffff".encode(), "\u00a0\ud7ff\ue000\U0010ffff", "\u00a0\ud7ff\ue000\U0010ffff"),
    *((invalid, shown, shown.replace("\\", "\\\\")) for invalid, shown in (
        (b"\xff", r"\xFF"), (b"\x80", r"\x80"), (b"\xc3(", r"\xC3("), (b"\xc0\xaf", r"\xC0\xAF"),
        (b"\xc1\xbf", r"\xC1\xBF"), (b"\xe0\x9f\xbf", r"\xE0\x9F\xBF"), (b"\xe2\x98", r"\xE2\x98"),
        (b"\xed\xa0\x80", r"\xED\xA0\x80"), (b"\xf0\x8f\xbf\xbf", r"\xF0\x8F\xBF\xBF"),
        (b"\xf4\x90\x80\x80", r"\xF4\x90\x80\x80"), (b"\xf5\x80\x80\x80", r"\xF5\x80\x80\x80"))),
]


class Paths(DeployTest):
    present = (INDESIGN, INCOPY)

    def test_bytes_of_any_kind(self):
        for name, line, quoted in BYTES:
            with self.subTest(name):
                path = b"/missing/" + name
                result = self.deploy("--verify", path)
                self.assertEqual((result.out.decode(), result.status),
                                 (f"not found: /missing/{line}\n", NO_APPLICATION))
                self.assert_logged(result.err, f"/missing/{line}: there is no such folder\n")
                result = self.deploy("--verify", "--json", path)
                self.assertIn(f'"path":"/missing/{quoted}","state"', result.out.decode())
                found, = json.loads(result.out)["applications"]
                self.assertEqual(found["path"], path.decode("utf-8", "replace") if "\\\\x" not in quoted
                                 else f"/missing/{line}")

    def test_a_path_becomes_absolute_and_keeps_its_links(self):
        elsewhere = self.folder / "else where"
        self.add_applications(elsewhere / NAME)
        (self.folder / "link").symlink_to(elsewhere)
        (self.folder / NAME).symlink_to(elsewhere / NAME)
        for given, path in ((f"else where/{NAME}", elsewhere / NAME),
                            (f"/..{elsewhere}//./x/../{NAME}/", elsewhere / NAME),
                            (f"link/{NAME}", self.folder / "link" / NAME), (NAME, self.folder / NAME)):
            with self.subTest(given):
                self.assert_unchanged(["--dry-run", given], ALL_DONE, out=f"would register: {path}\n")
                self.assertEqual(self.deploy(given).status, ALL_DONE)
                self.assertEqual(self.rows("SELECT AppPath FROM Tb_ProductInfoV2 WHERE ProdID = 190"),
                                 [(str(path.parent),)])
                self.unregister()

    def test_what_is_refused(self):
        wrong = self.folder / "wrong"
        self.add_applications(*(wrong / name for name in ("Photoshop.app", "Adobe InDesign 2020", ".app")))
        missing, none = "there is no such folder", "not an application: the name does not end in .app, or"
        (wrong / "file.app").write_text("x")
        (wrong / NAME / "Contents" / "Info.plist").mkdir(parents=True)
        for path, state, reason in (
                ("", "not found", missing), (wrong / "file.app", "not found", missing),
                (wrong / "missing" / NAME, "not found", missing), ("/" + "x" * 5000, "not found", missing),
                ("/", "not an application bundle", none), (wrong / NAME, "not an application bundle", none),
                (wrong / "Adobe InDesign 2020", "not an application bundle", none),
                (os.path.dirname(INDESIGN), "not an application bundle", none),
                (wrong / "Photoshop.app", "not supported", "no application of this name is supported"),
                (wrong / ".app", "not supported", "no application of this name is supported")):
            for command in ([], ["--dry-run"], ["--verify"]):
                with self.subTest(command, path=path):
                    self.assert_unchanged([*command, path], NO_APPLICATION, f"{path}: {reason}",
                                          out=f"{state}: {path}\n")

    def test_two_of_one_product_are_refused_both(self):
        other = self.folder / "other" / NAME
        self.add_applications(other)
        for second in (INDESIGN, INDESIGN + "/", other):
            with self.subTest(second):
                self.assert_unchanged(["--dry-run", INDESIGN, second], NO_APPLICATION,
                                      f"{INDESIGN}: only one of this and {second} can be registered\n",
                                      f"{second}: only one of this and {INDESIGN} can be registered\n",
                                      out=f"given twice: {INDESIGN}\ngiven twice: {second}\n")

    def test_the_others_are_registered_all_the_same(self):
        arguments = ["/missing.app", INDESIGN, "/Applications", INCOPY, INDESIGN + "/"]
        out = (f"not found: /missing.app\ngiven twice: {INDESIGN}\nnot an application bundle: /Applications\n"
               f"registered: {INCOPY}\ngiven twice: {INDESIGN}/\n")
        self.assert_deploys(arguments, NO_APPLICATION, out, f"registered: {INCOPY}\n")
        self.assert_verified(out, NO_APPLICATION, arguments=arguments)
        self.assertEqual(self.rows("SELECT * FROM Tb_XManConfig WHERE ProdID = 190"), [])

    def test_a_working_directory_that_has_gone(self):
        gone = ["sh", "-c", 'mkdir "$0" && cd "$0" && rmdir "$0" && exec "$@"', self.folder / "gone"]
        self.assert_deploys([NAME], NO_APPLICATION, f"not found: {NAME}\n", before=gone)
        self.assertEqual(self.deploy("--dry-run", INDESIGN, before=gone).status, ALL_DONE)
