import os
import sys

from harness.machine import BUILD, expected
from harness.registration import INDESIGN, RegistrationTest


class ProgramFolder(RegistrationTest):
    """The folder of the program, from which the shell copies the configuration file."""

    def run_in(self, name):
        """Installs the program in a folder of this name and registers an application with it."""
        folder = self.folder / "installed" / os.fsdecode(name)
        folder.mkdir(parents=True)
        for part in ("Tamsel", "Resources"):
            (folder / part).symlink_to(BUILD / part)
        (self.configuration / "XManConfigV2.xml").unlink(missing_ok=True)
        return self.run_inside(folder / "Tamsel", "-r", INDESIGN)

    def test_whatever_the_shell_takes_literally_between_quotation_marks(self):
        names = [b"a b", b" ", b"-r", b"%s%n", b"it's", b"a;b", b"a&b|c>d", b"*?[a]", b"~",
                 b"line\nfeed", "ä€".encode(), b"\\d", b"#", b"!", b"x" * 255]
        if sys.platform != "darwin":
            # macOS has no such file names.
            names.append(b"\xff\xfe")
        for name in names:
            with self.subTest(name):
                self.assert_result(self.run_in(name), expected("adobe-indesign-2020.out"))
                self.assert_copied()

    def test_what_the_shell_interprets_only_costs_the_copy(self):
        for name in (b"$NO_SUCH_VARIABLE", b"$(false)", b"`false`", b'a"b', b'"', b"`", b"a\\\\b"):
            with self.subTest(name):
                result = self.run_in(name)
                self.assert_result(result, expected("adobe-indesign-2020.out"), result.err)
                self.assertNotEqual(result.err, b"")
                self.assertFalse((self.configuration / "XManConfigV2.xml").exists())
