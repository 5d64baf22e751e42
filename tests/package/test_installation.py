"""Installing and uninstalling, with the scripts of the archive and with CMake."""

import os
import pathlib
import resource
import stat
import subprocess

from harness.machine import BUILD, expected
from harness.package import PackageTest, run
from harness.registration import INDESIGN

TREE = """\
drwxr-xr-x bin
-rwxr-xr-x bin/Tamsel
-rwxr-xr-x bin/tamsel-deploy
drwxr-xr-x libexec
drwxr-xr-x libexec/tamsel
drwxr-xr-x libexec/tamsel/Resources
-rw-r--r-- libexec/tamsel/Resources/XManConfigV2.xml
-rwxr-xr-x libexec/tamsel/Tamsel
-rwxr-xr-x libexec/tamsel/tamsel-deploy
-rwxr-xr-x libexec/tamsel/uninstall
drwxr-xr-x share
drwxr-xr-x share/man
drwxr-xr-x share/man/man8
-rw-r--r-- share/man/man8/Tamsel.8
-rw-r--r-- share/man/man8/tamsel-deploy.8
"""
REMOVED = """\
Tamsel is removed from {}. Left: registrations in the Extension Manager, and backups, if any, in
/Library/Application Support/Tamsel/Backups
"""
ODD = ('a"b', "$a", "`a`", "a\\b", "a\nb")


def tree(folder):
    """Everything in a folder, with modes, one per line."""
    return "".join(f"{stat.filemode(path.lstat().st_mode)} {path.relative_to(folder)}\n"
                   for path in sorted(folder.rglob("*")))


def contents(folder):
    return {str(path.relative_to(folder)): path.read_bytes() for path in folder.rglob("*") if path.is_file()}


class InstallationTest(PackageTest):
    def setUp(self):
        super().setUp()
        self.root = self.folder / "root"
        self.local = self.root / "usr" / "local"
        self.as_local = ["--bind", self.local, "/usr/local"]

    def install(self, *arguments, **how):
        return run(self.package / "install", *arguments, **how)

    def assert_registers(self, program, **how):
        """The program runs, and the file beside it arrives."""
        result = self.run_inside(program, "-r", INDESIGN, **how)
        self.assert_result(result, expected("adobe-indesign-2020.out"))
        copied = self.configuration / "XManConfigV2.xml"
        self.assertEqual(copied.read_bytes(), (BUILD / "Resources" / "XManConfigV2.xml").read_bytes())
        copied.unlink()

    def assert_refused(self, status, reason, *command, **how):
        finished = subprocess.run(command, capture_output=True, text=True, check=False, **how)
        self.assertEqual(finished.returncode, status)
        self.assertIn(reason, finished.stderr)


class Install(InstallationTest):
    def test_the_programs_work_from_any_folder(self):
        self.assertEqual(self.install("--root", self.root), (
            f"Tamsel is installed: {self.local}/bin/Tamsel and {self.local}/bin/tamsel-deploy\n"
            "Let unattended jobs of root start /usr/local/libexec/tamsel/tamsel-deploy, since /usr/local/bin"
            " may belong to a user\n"))
        self.assertEqual(tree(self.local), TREE)
        how = {"path": "/usr/local/bin:/usr/bin:/bin", "options": self.as_local}
        self.assert_registers("Tamsel", **how)
        (self.local / "link").symlink_to("/usr/local/bin/Tamsel")
        self.assert_registers("/usr/local/link", **how)
        # There is no application; its own file it has found.
        self.assertEqual(self.run_inside("tamsel-deploy", "--verify", **how).status, 6)

    def test_the_launcher_hands_arguments_and_status_on(self):
        self.install("--root", self.root)
        result = self.run_inside("/usr/local/bin/Tamsel", "", "a b", "*", options=self.as_local)
        self.assert_result(result, expected("unknown-command.out"))
        self.database.unlink()
        result = self.run_inside("/usr/local/bin/Tamsel", options=self.as_local)
        self.assert_result(result, expected("database-not-found.out"), status=1)

    def test_any_prefix(self):
        for name in ("my tools", "a&b|c", "it's", "%s\t*"):
            with self.subTest(name):
                prefix = self.folder / name
                self.install("--prefix", prefix)
                self.assertEqual(tree(prefix), TREE)
                self.assert_registers(prefix / "bin" / "Tamsel")
                self.assertEqual(run(prefix / "libexec" / "tamsel" / "uninstall"), REMOVED.format(prefix))
                self.assertEqual(tree(prefix), "")

    def test_a_relative_root_a_strict_umask_and_a_search_path_for_folders(self):
        for name in ("unpacked/tamsel", "root/opt/libexec/tamsel"):
            (self.folder / "elsewhere" / name).mkdir(parents=True)
        how = {"cwd": self.folder, "env": dict(os.environ, CDPATH=str(self.folder / "elsewhere"))}
        run("unpacked/tamsel/install", "--root", "root", "--prefix", "/opt/",
            preexec_fn=lambda: os.umask(0o077), **how)
        self.assertEqual(tree(self.root / "opt"), TREE)
        self.assertIn(b'exec "/opt/libexec/tamsel/Tamsel"', contents(self.root)["opt/bin/Tamsel"])
        run("root/opt/libexec/tamsel/uninstall", **how)
        self.assertEqual(tree(self.root / "opt"), "")

    def test_refusals(self):
        for arguments in (["--prefix"], ["--root"], ["--prefix", ""], ["--root", ""], ["x"],
                          *(["--prefix", prefix] for prefix in ("relative", *map("/{}".format, ODD)))):
            self.assert_refused(2, "install: ", self.package / "install", "--root", self.root, *arguments)
        self.assertFalse(self.root.exists())


class Update(InstallationTest):
    """A file is replaced as a whole or stays as it was."""

    def setUp(self):
        super().setUp()
        self.install("--root", self.root)

    def test_replaces_what_was_installed_and_writes_through_no_link(self):
        before = contents(self.local)
        for path in self.local.rglob("*"):
            if path.is_file():
                path.write_text("old")
                path.chmod(0o600)
        target = self.folder / "somebody's"
        target.write_text("theirs")
        (self.local / "bin" / "Tamsel.new").symlink_to(target)
        self.install("--root", self.root)
        self.assertEqual((tree(self.local), contents(self.local)), (TREE, before))
        self.assertEqual(target.read_text(), "theirs")

    def assert_fails(self, reason, status=1, **how):
        """The installer leaves what was installed, and nothing else."""
        before = tree(self.local), contents(self.local)
        self.assert_refused(status, reason, self.package / "install", "--root", self.root, **how)
        self.assertEqual((tree(self.local), contents(self.local)), before)

    def test_leaves_no_half_of_a_file(self):
        self.assert_fails("File too large", restore_signals=False,  # or the limit would kill
                          preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (10000, 10000)))

    def test_needs_a_whole_folder(self):
        needed = sorted(set(contents(self.package)) - {"README.md", "CHANGELOG.md", "install"})
        self.assertEqual(len(needed), 7)
        for path in needed:
            with self.subTest(path):
                kept = (self.package / path).rename(self.folder / "kept")
                self.assert_fails(f"/{path} is missing\n", 2)
                kept.rename(self.package / path)

    def test_writes_into_no_folder_in_the_place_of_a_file(self):
        launcher = self.local / "bin" / "Tamsel"
        launcher.unlink()
        folder = self.folder / "somebody's"
        folder.mkdir()
        for put in (lambda: launcher.symlink_to(folder), lambda: (launcher.unlink(), launcher.mkdir())):
            put()
            self.assert_fails(f"install: {launcher} is a folder\n", 2)
            self.assertEqual(list(folder.iterdir()), [])


class ByCMake(InstallationTest):
    def test_installs_the_same(self):
        for prefix, stage in (("/usr/local", self.folder / "staged"), ("/opt/a b", self.folder / "staged"),
                              (self.folder / "by cmake", "")):
            with self.subTest(prefix):
                run("cmake", "--install", BUILD, "--prefix", prefix, env=dict(os.environ, DESTDIR=str(stage)))
                installed, other = pathlib.Path(f"{stage}{prefix}"), self.folder / "by the installer"
                self.assertEqual(tree(installed), TREE)
                self.install("--root", other, "--prefix", prefix)
                self.assertEqual(contents(installed), contents(pathlib.Path(f"{other}{prefix}")))
        self.assert_registers(self.folder / "by cmake" / "bin" / "Tamsel")

    def test_refuses_what_the_installer_refuses(self):
        for prefix in ("relative", *(f"{self.folder}/{name}" for name in ODD)):
            with self.subTest(prefix):
                self.assert_refused(1, "the prefix must", "cmake", "--install", BUILD, "--prefix", prefix)


class Uninstall(InstallationTest):
    def setUp(self):
        super().setUp()
        self.install("--root", self.root)

    def test_removes_what_was_installed_and_nothing_else(self):
        others = ["bin/other", "libexec/tamsel-other", "libexec/tamsel/Resources/other",
                  "share/man/man8/other.8"]
        for name in others:
            (self.local / name).write_text("other")
        # One that was interrupted is completed.
        (self.local / "bin" / "Tamsel").unlink()
        (self.local / "libexec" / "tamsel" / "Tamsel").unlink()
        out = run(self.package / "uninstall", "--prefix", self.local)
        self.assertEqual((out, sorted(contents(self.local))), (REMOVED.format(self.local), others))

    def test_forgets_the_receipt_of_a_package(self):
        # pkgutil fails if there is none.
        self.make_tool("pkgutil", f'echo "$*" >>"{self.folder}/calls"\nexit 1\n')
        result = self.run_inside("/usr/local/libexec/tamsel/uninstall", path=f"{self.tools}:/usr/bin:/bin",
                                 options=self.as_local)
        self.assert_result(result, REMOVED.format("/usr/local").encode())
        self.assertEqual((self.folder / "calls").read_text(), "--forget local.tamsel\n")
        self.assertEqual(tree(self.local), "")

    def test_refusals(self):
        for arguments in (["x"], ["--prefix"], ["--prefix", "/a", "b"]):
            self.assert_refused(2, "uninstall: ", self.package / "uninstall", *arguments)
        self.assert_refused(1, "uninstall: Tamsel is not installed in", self.package / "uninstall",
                            "--prefix", self.folder)
        for name in ("install", "uninstall"):
            self.assertIn("usage: ", run(self.package / name, "-h"))
