import contextlib
import os
import pty
import shutil
import subprocess
import sys

from harness.machine import BUILD, CONFIGURATION, SANDBOX, MachineTest, expected, search_path
from harness.registration import INDESIGN, registered

REGISTER = ("-r", INDESIGN)
UNSUPPORTED = ("-r", "/Applications/Adobe Photoshop 2020/Adobe Photoshop 2020.app")


class CopyOfTheConfigurationFile(MachineTest):
    """The file beside the program, found by the path that the program was started by."""

    def setUp(self):
        super().setUp()
        self.copied = self.configuration / "XManConfigV2.xml"
        self.program = self.install("opt")

    def install(self, name):
        """Installs the program into a folder, beside it a file of that folder's own."""
        folder = self.folder / name
        (folder / "Resources").mkdir(parents=True)
        shutil.copy(BUILD / "Tamsel", folder)
        (folder / "Resources" / "XManConfigV2.xml").write_text(f"installed in {name}\n")
        return folder / "Tamsel"

    def assert_copied_from(self, name):
        self.assertEqual(self.copied.read_text(), f"installed in {name}\n")
        self.copied.unlink()

    def assert_started(self, command, err=b"", **how):
        """Whatever becomes of the copy changes neither output nor status."""
        self.assert_result(self.run_inside(command, *REGISTER, **how), registered(), err)

    def what_cp_says(self, source):
        """The diagnostics of this machine's cp for the same copy."""
        return self.run_inside("cp", source, CONFIGURATION).err

    def test_started_by_any_path(self):
        (self.folder / "elsewhere").mkdir()
        for command, folder in ((self.program, "elsewhere"), ("./Tamsel", "opt"),
                                ("../opt/Tamsel", "elsewhere")):
            with self.subTest(command):
                self.assert_started(command, cwd=self.folder / folder)
                self.assert_copied_from("opt")

    def test_started_by_its_bare_name_takes_the_file_at_the_root(self):
        self.install("root")
        path = search_path(self.folder / "opt")
        self.assert_started("Tamsel", path=path, err=self.what_cp_says("/Resources/XManConfigV2.xml"))
        self.assertFalse(self.copied.exists())
        self.assert_started("Tamsel", path=path,
                            options=("--bind", self.folder / "root" / "Resources", "/Resources"))
        self.assert_copied_from("root")

    def test_started_through_a_link_takes_the_file_beside_the_link(self):
        link = self.install("bin")
        link.unlink()
        link.symlink_to(self.program)
        self.assert_started(link)
        self.assert_copied_from("bin")

    def test_a_folder_that_the_shell_takes_literally_between_quotation_marks(self):
        names = [b"a  b", b" ", b"-r", b"%s%n", b"it's", b"a;b", b"a&b|c>d", b"*?[a]", b"~",
                 b"line\nfeed", "ä€".encode(), b"\\d", b"#", b"!", b"x" * 255]
        if sys.platform != "darwin":
            # macOS has no such file names.
            names.append(b"\xff\xfe")
        for name in map(os.fsdecode, names):
            with self.subTest(name):
                (self.folder / name).symlink_to("opt")
                self.assert_started(self.folder / name / "Tamsel")
                self.assert_copied_from("opt")

    def test_a_folder_that_the_shell_interprets(self):
        # A dollar sign, a backquote or a quotation mark in it is not escaped.
        for name, found in (("$((40 + 2))", "42"), ("`echo shell`", "shell"), ('a"b"', "ab")):
            with self.subTest(name):
                program = self.install(name)
                self.install(found)
                self.assert_started(program)
                self.assert_copied_from(found)

    def test_a_folder_that_the_shell_does_not_find_only_costs_the_copy(self):
        for name in ("$NO_SUCH_VARIABLE", "$(false)", "`false`", '"', "`", "a\\\\b"):
            with self.subTest(name):
                result = self.run_inside(self.install(name), *REGISTER)
                self.assert_result(result, registered(), result.err)
                self.assertNotEqual(result.err, b"")
                self.assertFalse(self.copied.exists())

    def test_replaces_the_file_that_is_there(self):
        self.copied.write_text("the vendor's")
        self.assert_started(self.program)
        self.assert_copied_from("opt")

    def test_finds_cp_through_the_search_path_and_takes_no_notice_of_its_end(self):
        arguments = f"2\n{self.folder}/opt/Resources/XManConfigV2.xml\n{CONFIGURATION}\n".encode()
        for end in ("true", "false", "kill -KILL $$"):
            self.make_tool("cp", f'printf "%s\\n" "$#" "$@" >&2; {end}')
            result = self.run_inside(self.program, *REGISTER, path=search_path(self.tools))
            self.assert_result(result, registered(), result.err)
            self.assertTrue(result.err.startswith(arguments), result.err)

    def test_a_missing_file(self):
        source = self.program.parent / "Resources" / "XManConfigV2.xml"
        source.unlink()
        message = self.what_cp_says(source)
        self.assertIn(b"No such file", message)
        self.assert_started(self.program, err=message)
        self.assertFalse(self.copied.exists())

    def test_a_destination_that_is_read_only(self):
        self.copied.write_text("the vendor's")
        self.copied.chmod(0o400)
        message = self.what_cp_says(self.program.parent / "Resources" / "XManConfigV2.xml")
        self.assertIn(b"Permission denied", message)
        self.assert_started(self.program, err=message)
        self.assertEqual(self.copied.read_text(), "the vendor's")

    def test_a_missing_cp(self):
        result = self.run_inside("/usr/bin/env", "PATH=/nowhere", self.program, *REGISTER)
        self.assertEqual((result.out, result.status), (registered(), 0))
        self.assertRegex(result.err, rb"cp: .*not found\n\Z")

    def test_an_unsupported_application_is_copied_for_as_well(self):
        self.assert_result(self.run_inside(self.program, *UNSUPPORTED), expected("unsupported.out"))
        self.assert_copied_from("opt")


class OrderOfOutput(MachineTest):
    """The program flushes nothing itself."""

    def setUp(self):
        super().setUp()
        self.path = search_path(BUILD)
        self.message = self.run_inside("cp", "/Resources/XManConfigV2.xml", CONFIGURATION).err
        self.assertIn(b"No such file", self.message)

    def test_on_a_pipe_the_programs_lines_come_after_those_of_cp(self):
        result = self.run_inside("/bin/sh", "-c", 'Tamsel "$@" 2>&1', "sh", *REGISTER, path=self.path)
        self.assert_result(result, self.message + registered())

    def test_on_a_terminal_the_programs_lines_come_first(self):
        for arguments, lines in ((REGISTER, registered()), (UNSUPPORTED, expected("unsupported.out"))):
            with self.subTest(arguments):
                outside, terminal = pty.openpty()
                subprocess.run([SANDBOX, self.private_library, "Tamsel", *arguments], stdout=terminal,
                               stderr=terminal, env=dict(os.environ, PATH=self.path), check=True)
                os.close(terminal)
                shown = b""
                with open(outside, "rb", buffering=0) as output, contextlib.suppress(OSError):
                    while part := output.read(65536):  # the end is an error on Linux
                        shown += part
                self.assertEqual(shown.replace(b"\r\n", b"\n"), lines + self.message)
