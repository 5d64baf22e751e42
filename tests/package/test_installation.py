import os
import pathlib
import resource
import stat
import subprocess

from harness.machine import BUILD, ROOT, expected
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


def tree(folder):
    """Everything in a folder, with modes, one per line."""
    return "".join(f"{stat.filemode(path.lstat().st_mode)} {path.relative_to(folder)}\n"
                   for path in sorted(folder.rglob("*")))


def contents(folder):
    return {path.relative_to(folder): path.read_bytes() for path in folder.rglob("*") if path.is_file()}


class InstallationTest(PackageTest):
    def setUp(self):
        super().setUp()
        self.root = self.folder / "root"

    def install(self, *arguments, **how):
        return run(self.package / "install", *arguments, **how)

    def assert_registers(self, program, **how):
        """The program runs, and the file beside it arrives."""
        result = self.run_inside(program, "-r", INDESIGN, **how)
        self.assert_result(result, expected("adobe-indesign-2020.out"))
        copied = self.configuration / "XManConfigV2.xml"
        self.assertEqual(copied.read_bytes(), (BUILD / "Resources" / "XManConfigV2.xml").read_bytes())
        copied.unlink()


class InAnEmptyRoot(InstallationTest):
    """Installed into the usual place of a root folder that was empty."""

    def setUp(self):
        super().setUp()
        self.local = self.root / "usr" / "local"
        self.install("--root", self.root)
        self.inside_root = ["--bind", self.local, "/usr/local"]

    def test_the_tree(self):
        self.assertEqual(tree(self.local), TREE)

    def test_runs_through_the_search_path(self):
        self.assert_registers("Tamsel", path="/usr/local/bin:/usr/bin:/bin", options=self.inside_root)

    def test_runs_through_a_link(self):
        (self.local / "link").symlink_to("/usr/local/bin/Tamsel")
        self.assert_registers("/usr/local/link", options=self.inside_root)

    def test_hands_arguments_and_status_on(self):
        result = self.run_inside("/usr/local/bin/Tamsel", "", "a b", "*", options=self.inside_root)
        self.assert_result(result, expected("unknown-command.out"))
        self.database.unlink()
        result = self.run_inside("/usr/local/bin/Tamsel", options=self.inside_root)
        self.assert_result(result, expected("database-not-found.out"), status=1)

    def test_the_deployment_script_finds_the_program(self):
        result = self.run_inside("tamsel-deploy", "--verify", path="/usr/local/bin:/usr/bin:/bin",
                                 options=self.inside_root)
        self.assertEqual((result.out, result.status), (b"", 6))

    def test_cmake_installs_the_same(self):
        for prefix, stage in (("/usr/local", self.folder / "staged"), ("/opt/a b", self.folder / "staged"),
                              (self.folder / "by cmake", "")):
            with self.subTest(prefix):
                run("cmake", "--install", BUILD, "--prefix", prefix,
                    env=dict(os.environ, DESTDIR=str(stage)))
                installed = pathlib.Path(f"{stage}{prefix}")
                self.assertEqual(tree(installed), TREE)
                other = self.folder / "by the installer"
                self.install("--root", other, "--prefix", prefix)
                self.assertEqual(contents(installed), contents(pathlib.Path(f"{other}{prefix}")))
        self.assert_registers(self.folder / "by cmake" / "bin" / "Tamsel")

    def test_replaces_what_was_installed(self):
        before = contents(self.local)
        for path in self.local.rglob("*"):
            if path.is_file():
                path.write_text("old")
                path.chmod(0o600)
        self.install("--root", self.root)
        self.assertEqual(tree(self.local), TREE)
        self.assertEqual(contents(self.local), before)

    def test_writes_through_no_link(self):
        target = self.folder / "somebody's"
        target.write_text("theirs")
        planted = self.local / "bin" / "Tamsel.new"
        planted.symlink_to(target)
        self.install("--root", self.root)
        self.assertEqual(tree(self.local), TREE)
        self.assertEqual(target.read_text(), "theirs")

    def assert_fails(self, reason, **how):
        """The installer leaves what was installed, and nothing else."""
        before = contents(self.local)
        finished = subprocess.run([self.package / "install", "--root", self.root], capture_output=True,
                                  text=True, check=False, **how)
        self.assertEqual((finished.stdout, finished.returncode), ("", 1))
        self.assertIn(reason, finished.stderr)
        self.assertEqual(tree(self.local), TREE)
        self.assertEqual(contents(self.local), before)

    def test_leaves_no_half_of_a_file_on_a_full_disk(self):
        self.assert_fails("File too large", restore_signals=False,  # or the limit would kill
                          preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (10000, 10000)))

    def stand_in(self, tool, script):
        """A search path on which a shell script takes the place of one of the system's tools."""
        return f"{self.make_tool(tool, script).parent}:/usr/bin:/bin"

    def test_leaves_no_half_of_any_file(self):
        search = self.stand_in(
            "chmod", 'case $2 in *"$FAILING.new") echo failed >&2; exit 1 ;; esac\nexec /bin/chmod "$@"\n')
        for path in contents(self.local):
            with self.subTest(path):
                self.assert_fails("failed", env={"PATH": search, "FAILING": str(path)})

    def test_writes_into_no_folder_in_the_place_of_a_file(self):
        launcher = self.local / "bin" / "Tamsel"
        launcher.unlink()
        folder = self.folder / "somebody's"
        folder.mkdir()
        for put in (launcher.mkdir, lambda: launcher.symlink_to(folder)):
            put()
            finished = subprocess.run([self.package / "install", "--root", self.root],
                                      capture_output=True, text=True, check=False)
            self.assertEqual((finished.stdout, finished.stderr, finished.returncode),
                             ("", f"install: {launcher} is a folder\n", 2))
            self.assertEqual(list(launcher.iterdir()), [])
            if not launcher.is_symlink():
                launcher.rmdir()

    def test_uninstalls_itself(self):
        run(self.local / "libexec" / "tamsel" / "uninstall")
        self.assertEqual(tree(self.local), "")

    def test_uninstalling_forgets_the_receipts_of_packages(self):
        # There may be a receipt under either name or none, and pkgutil fails if there is none.
        search = self.stand_in("pkgutil", f'echo "$*" >>"{self.folder}/calls"\nexit 1\n')
        result = self.run_inside("/usr/local/libexec/tamsel/uninstall", path=search, options=self.inside_root)
        self.assert_result(result, b"Tamsel is removed from /usr/local\n")
        self.assertEqual((self.folder / "calls").read_text(), "--forget local.tamsel\n--forget tamsel\n")

    def test_the_archive_uninstalls_it_too(self):
        run(self.package / "uninstall", "--prefix", self.local)
        self.assertEqual(tree(self.local), "")

    def test_completes_an_uninstallation_that_was_interrupted(self):
        (self.local / "bin" / "Tamsel").unlink()
        (self.local / "libexec" / "tamsel" / "Tamsel").unlink()
        run(self.local / "libexec" / "tamsel" / "uninstall")
        self.assertEqual(tree(self.local), "")

    def test_uninstalling_leaves_what_belongs_to_others(self):
        for name in ("bin/other", "libexec/tamsel-other", "share/man/man8/other.8"):
            (self.local / name).write_text("other")
        run(self.local / "libexec" / "tamsel" / "uninstall")
        self.assertEqual(sorted(map(str, contents(self.local))),
                         ["bin/other", "libexec/tamsel-other", "share/man/man8/other.8"])


class WithAPrefix(InstallationTest):
    def test_any_prefix(self):
        for name in ("tools", "my tools", "a&b|c", "it's", "%s\t*"):
            with self.subTest(name):
                prefix = self.folder / name
                self.install("--prefix", prefix)
                self.assertEqual(tree(prefix), TREE)
                self.assert_registers(prefix / "bin" / "Tamsel")
                run(prefix / "libexec" / "tamsel" / "uninstall")
                self.assertEqual(tree(prefix), "")

    def test_a_relative_root_and_a_strict_umask(self):
        self.install("--root", "here", "--prefix", "/opt/", cwd=self.folder,
                     preexec_fn=lambda: os.umask(0o077))
        self.assertEqual(tree(self.package / "here" / "opt"), "")
        self.assertEqual(tree(self.folder / "here" / "opt"), TREE)
        self.assertIn(b'exec "/opt/libexec/tamsel/Tamsel"',
                      (self.folder / "here" / "opt" / "bin" / "Tamsel").read_bytes())

    def test_a_search_path_for_folders(self):
        for name in ("unpacked/tamsel", "root/opt/libexec/tamsel"):
            (self.folder / "elsewhere" / name).mkdir(parents=True)
        how = {"cwd": self.folder, "env": dict(os.environ, CDPATH=str(self.folder / "elsewhere"))}
        run("unpacked/tamsel/install", "--root", "root", "--prefix", "/opt", **how)
        self.assertEqual(tree(self.root / "opt"), TREE)
        run("unpacked/tamsel/uninstall", "--prefix", "root/opt", **how)
        self.assertEqual(tree(self.root / "opt"), "")
        run("unpacked/tamsel/install", "--root", "root", "--prefix", "/opt", **how)
        run("root/opt/libexec/tamsel/uninstall", **how)
        self.assertEqual(tree(self.root / "opt"), "")


class Refusals(InstallationTest):
    def assert_refused(self, status, *command):
        finished = subprocess.run(command, capture_output=True, text=True, check=False)
        self.assertEqual((finished.stdout, finished.returncode), ("", status))
        self.assertRegex(finished.stderr, r"\A(un)?install: .+\n\Z")

    def test_installing(self):
        for arguments in (["--prefix"], ["--root"], ["--prefix", ""], ["--root", ""],
                          ["--prefix", "relative"], ["--prefix", '/a"b'],
                          ["--prefix", "/$a"], ["--prefix", "/`a`"], ["--prefix", "/a\\b"],
                          ["--prefix", "/a\nb"], ["x"]):
            with self.subTest(arguments):
                self.assert_refused(2, self.package / "install", "--root", self.root, *arguments)
                self.assertFalse(self.root.exists())

    def test_installing_by_cmake(self):
        configure = ["-S", ROOT, "-B", self.folder / "build", "-DTAMSEL_TESTS=OFF"]
        for name, command in (*((name, ["--install", BUILD, "--prefix", self.folder / name])
                                for name in ('a"b', "$a", "`a`", "a\\b", "a\nb")),
                              ("$a", [*configure, f"-DCMAKE_INSTALL_PREFIX={self.folder}/$a"])):
            with self.subTest(name, command=command[0]):
                finished = subprocess.run(["cmake", *command], capture_output=True, text=True, check=False)
                self.assertEqual(finished.returncode, 1)
                self.assertIn("the prefix must hold no line break and none of", finished.stderr)
                self.assertFalse((self.folder / name).exists())

    def test_uninstalling(self):
        for arguments in (["x"], ["--prefix"], ["--prefix", "/a", "b"]):
            self.assert_refused(2, self.package / "uninstall", *arguments)
        self.assert_refused(1, self.package / "uninstall", "--prefix", self.folder)

    def test_a_folder_that_is_not_whole(self):
        others = map(pathlib.Path, ("README.md", "CHANGELOG.md", "install"))
        needed = sorted(set(contents(self.package)) - set(others))
        self.assertEqual(len(needed), 7)
        for path in needed:
            with self.subTest(path):
                kept = (self.package / path).rename(self.folder / "kept")
                with self.assertRaises(subprocess.CalledProcessError):
                    self.install("--root", self.root, stderr=subprocess.DEVNULL)
                kept.rename(self.package / path)

    def test_help(self):
        for name in ("install", "uninstall"):
            self.assertIn("usage: ", run(self.package / name, "-h"))
