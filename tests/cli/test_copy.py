import contextlib
import os
import pty
import shutil
import subprocess

from harness.machine import BUILD, CONFIGURATION, SANDBOX, MachineTest, expected, search_path
from harness.registration import INDESIGN

REGISTER = ("-r", INDESIGN)
UNSUPPORTED = ("-r", "/Applications/Adobe Photoshop 2020/Adobe Photoshop 2020.app")
REGISTERED = expected("adobe-indesign-2020.out")


class CopyOfTheConfigurationFile(MachineTest):
    """The file beside the program, found by the path that the program was started by."""

    def setUp(self):
        super().setUp()
        self.copied = self.configuration / "XManConfigV2.xml"

    def install(self, folder):
        """Installs the program into a folder, beside it a file of that folder's own."""
        (folder / "Resources").mkdir(parents=True, exist_ok=True)
        shutil.copy(BUILD / "Tamsel", folder)
        (folder / "Resources" / "XManConfigV2.xml").write_text(f"installed in {folder}\n")
        return folder / "Tamsel"

    def assert_copied_from(self, folder):
        self.assertEqual(self.copied.read_text(), f"installed in {folder}\n")

    def assert_started(self, *command, err=b"", **how):
        self.assert_result(self.run_inside(*command, *REGISTER, **how), REGISTERED, err)

    def what_cp_says(self, source):
        """The diagnostics of this machine's cp for the same copy."""
        return self.run_inside("cp", source, CONFIGURATION).err

    def test_started_by_its_absolute_path(self):
        self.assert_started(self.install(self.folder / "opt"))
        self.assert_copied_from(self.folder / "opt")

    def test_started_in_its_folder(self):
        self.install(self.folder / "opt")
        self.assert_started("./Tamsel", cwd=self.folder / "opt")
        self.assert_copied_from(self.folder / "opt")

    def test_started_by_a_relative_path(self):
        self.install(self.folder / "opt")
        (self.folder / "elsewhere").mkdir()
        self.assert_started("../opt/Tamsel", cwd=self.folder / "elsewhere")
        self.assert_copied_from(self.folder / "opt")

    def test_started_in_a_folder_with_blanks(self):
        self.assert_started(self.install(self.folder / "my own  tools"))
        self.assert_copied_from(self.folder / "my own  tools")

    def test_started_by_its_bare_name_takes_the_file_at_the_root(self):
        self.install(self.folder / "opt")
        self.install(self.folder / "root")
        path = search_path(self.folder / "opt")
        self.assert_started("Tamsel", path=path, err=self.what_cp_says("/Resources/XManConfigV2.xml"))
        self.assertFalse(self.copied.exists())
        self.assert_started("Tamsel", path=path,
                            options=("--bind", self.folder / "root" / "Resources", "/Resources"))
        self.assert_copied_from(self.folder / "root")

    def test_started_through_a_link_takes_the_file_beside_the_link(self):
        program = self.install(self.folder / "opt")
        self.install(self.folder / "bin").unlink()
        (self.folder / "bin" / "Tamsel").symlink_to(program)
        self.assert_started(self.folder / "bin" / "Tamsel")
        self.assert_copied_from(self.folder / "bin")

    def test_the_shell_interprets_the_programs_folder(self):
        # A dollar sign, a backquote or a quotation mark in it is not escaped.
        self.install(self.folder / "$((40 + 2))")
        self.install(self.folder / "42")
        self.assert_started(self.folder / "$((40 + 2))" / "Tamsel")
        self.assert_copied_from(self.folder / "42")
        self.install(self.folder / "`echo shell`")
        self.install(self.folder / "shell")
        self.assert_started(self.folder / "`echo shell`" / "Tamsel")
        self.assert_copied_from(self.folder / "shell")
        self.install(self.folder / 'a"b"')
        self.install(self.folder / "ab")
        self.assert_started(self.folder / 'a"b"' / "Tamsel")
        self.assert_copied_from(self.folder / "ab")

    def test_replaces_the_file_that_is_there(self):
        self.copied.write_text("the vendor's")
        self.assert_started(self.install(self.folder / "opt"))
        self.assert_copied_from(self.folder / "opt")

    def test_finds_cp_through_the_search_path(self):
        self.make_tool("cp", 'printf "%s\\n" "$#" "$@" >&2')
        program = self.install(self.folder / "opt")
        arguments = f"2\n{self.folder}/opt/Resources/XManConfigV2.xml\n{CONFIGURATION}\n"
        self.assert_started(program, path=search_path(self.tools), err=arguments.encode())

    def test_a_missing_file_changes_neither_output_nor_status(self):
        program = self.install(self.folder / "opt")
        source = program.parent / "Resources" / "XManConfigV2.xml"
        source.unlink()
        message = self.what_cp_says(source)
        self.assertIn(b"No such file", message)
        self.assert_started(program, err=message)
        self.assertFalse(self.copied.exists())

    def test_a_destination_that_is_read_only_changes_neither_output_nor_status(self):
        self.copied.write_text("the vendor's")
        self.copied.chmod(0o400)
        program = self.install(self.folder / "opt")
        message = self.what_cp_says(program.parent / "Resources" / "XManConfigV2.xml")
        self.assertIn(b"Permission denied", message)
        self.assert_started(program, err=message)
        self.assertEqual(self.copied.read_text(), "the vendor's")

    def test_a_missing_cp_changes_neither_output_nor_status(self):
        program = self.install(self.folder / "opt")
        result = self.run_inside("/usr/bin/env", "PATH=/nowhere", program, *REGISTER)
        self.assertEqual((result.out, result.status), (REGISTERED, 0))
        self.assertRegex(result.err, rb"cp: .*not found\n\Z")

    def test_an_unsupported_application_is_copied_for_as_well(self):
        program = self.install(self.folder / "opt")
        result = self.run_inside(program, *UNSUPPORTED)
        self.assert_result(result, expected("unsupported.out"))
        self.assert_copied_from(self.folder / "opt")


class OrderOfOutput(MachineTest):
    """The program flushes nothing itself."""

    def setUp(self):
        super().setUp()
        self.path = search_path(BUILD)
        self.message = self.run_inside("cp", "/Resources/XManConfigV2.xml", CONFIGURATION).err
        self.assertIn(b"No such file", self.message)

    def test_on_a_pipe_the_programs_lines_come_after_those_of_cp(self):
        result = self.run_inside("/bin/sh", "-c", 'Tamsel "$@" 2>&1', "sh", *REGISTER, path=self.path)
        self.assert_result(result, self.message + REGISTERED)

    def test_on_a_terminal_the_programs_lines_come_first(self):
        for arguments, lines in ((REGISTER, REGISTERED), (UNSUPPORTED, expected("unsupported.out"))):
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
