"""What tamsel-deploy takes from its surroundings, and what Tamsel gets from it."""

import re
import stat

from harness.deploy import ALL_DONE, INDESIGN, STAGING, DeployTest
from harness.machine import CONFIGURATION

REGISTERED = f"registered: {INDESIGN}\n"


class OfTamsel(DeployTest):
    def setUp(self):
        super().setUp()
        self.add_applications(INDESIGN)

    def seen_by_tamsel(self, command, **how):
        """What a command prints that Tamsel runs before doing its work."""
        seen = self.folder / "seen"
        self.replace_tamsel(f'{{ {command}; }} > "{seen}"\ntamsel "$@"')
        self.assert_deploys([INDESIGN], ALL_DONE, REGISTERED, **how)
        return seen.read_bytes()

    def test_path_is_all_there_is_in_its_environment(self):
        hostile = {"PATH": f"{self.folder}:/usr/bin:/bin", "HOME": "/x", "LD_BIND_NOW": "1", "LC_ALL": "C",
                   "BASH_ENV": "/x", "BASH_FUNC_cp%%": "() { echo hostile; }", "SQLITE_TMPDIR": "/x"}
        self.assertEqual(self.seen_by_tamsel("cat /proc/$$/environ", environment=hostile),
                         b"PATH=/usr/bin:/bin:/usr/sbin:/sbin\0")

    def test_a_function_of_somebodys_bash_does_not_matter(self):
        self.make_tool("cp", "exit 1\n")
        hostile = {"PATH": f"{self.tools}:/usr/bin:/bin",
                   "BASH_FUNC_cp%%": f'() {{ echo > "{self.folder}/called"; }}'}
        self.assert_deploys([INDESIGN], ALL_DONE, REGISTERED, environment=hostile)
        self.assertFalse((self.folder / "called").exists())
        self.assertEqual(self.copied.read_bytes(), self.shipped.read_bytes())

    def test_signals_have_their_usual_effect(self):
        # Those from 1 to 31; others belong to the C library.
        seen = self.seen_by_tamsel("grep -E '^Sig(Blk|Ign)' /proc/self/status", before=[
            "bash", "-c", "trap '' HUP INT TERM PIPE USR1 QUIT XFSZ; exec \"$@\"", "bash"])
        self.assertEqual([int(mask, 16) & 0x7FFFFFFF for mask in re.findall(rb"\t(\w+)", seen)], [0, 0])

    def test_what_it_makes_everybody_may_read(self):
        seen = self.seen_by_tamsel("umask", before=["sh", "-c", 'umask 077; exec "$@"', "sh"])
        self.assertEqual(seen, b"0022\n")
        self.assertEqual(stat.S_IMODE(self.copied.stat().st_mode), 0o644)

    def test_it_inherits_the_lock_and_nothing_else(self):
        seen = self.seen_by_tamsel("for file in /proc/$$/fd/[0-9]*; do readlink \"$file\"; done")
        files = {line for line in seen.decode().splitlines() if line.startswith("/Library")}
        self.assertEqual(files, {"/Library/Application Support/Tamsel/lock"})

    def test_the_staging_folder(self):
        seen = self.seen_by_tamsel(f"stat -c '%A %u' '{STAGING}'; cd '{STAGING}' && find . | sort;"
                                   "readlink Resources/XManConfigV2.xml")
        self.assertEqual(seen.decode().splitlines(), [
            "drwx------ 0", ".", "./Resources", "./Resources/XManConfigV2.xml",
            f"{CONFIGURATION}/XManConfigV2.xml"])
        self.assertFalse((self.own / "staging").exists())

    def test_the_file_is_in_place_before_it_starts(self):
        """Its cp finds that source and destination are the same file, and writes nothing."""
        installed = f"'{CONFIGURATION}/XManConfigV2.xml'"
        seen = self.seen_by_tamsel(f"stat -c %i {installed}; cat {installed}")
        self.assertEqual(seen, f"{self.copied.stat().st_ino}\n".encode() + self.shipped.read_bytes())

    def test_the_programs_are_started_by_their_own_paths(self):
        self.need("strace")
        trace = self.folder / "trace"
        self.assert_deploys([INDESIGN], ALL_DONE, REGISTERED, before=[
            "strace", "-qq", "-f", "-v", "-s", "4096", "-e", "trace=execve", "-o", trace])
        calls = re.findall(r"execve\((.*)\) = 0", trace.read_text())
        environment = '["PATH=/usr/bin:/bin:/usr/sbin:/sbin"]'
        pgrep = ('"/usr/bin/pgrep", ["{}", "-f", "Adobe Extension Manager CC\\\\.app/Contents/MacOS/"], '
                 + environment)
        self.assertIn(calls[1], [pgrep.format(name) for name in ("pgrep", "/usr/bin/pgrep")])
        self.assertEqual(calls[2], f'"{self.package}/Tamsel", ["{STAGING}/Tamsel", "-r", "{INDESIGN}"], '
                         + environment)


class Installation(DeployTest):
    def setUp(self):
        super().setUp()
        self.add_applications(INDESIGN)

    def test_a_folder_of_any_name(self):
        for name in ("a b", 'a"b', "$(touch x)", "`touch x`", "it's", "a\\b", "ä☃", "a\nb", "-r", "%s;*"):
            with self.subTest(name):
                moved = self.folder / name / "tamsel"
                moved.parent.mkdir()
                self.package = self.package.rename(moved)
                self.copied.unlink(missing_ok=True)
                self.assert_deploys([INDESIGN], ALL_DONE, REGISTERED)
                self.assertEqual(self.copied.read_bytes(), self.shipped.read_bytes())
        self.assertFalse(list(self.folder.glob("**/x")))

    def test_however_it_is_started(self):
        """Its folder is where it is, not what argv[0] says."""
        program = self.package / "tamsel-deploy"
        link = self.folder / "link"
        link.symlink_to(program)
        for words in (["./tamsel-deploy"], [link], ["env", f"PATH={self.package}", "tamsel-deploy"],
                      ["bash", "-c", f"exec -a nothing '{program}' \"$@\"", "bash"],
                      ["bash", "-c", f"exec -a /bin/ls '{link}' \"$@\"", "bash"]):
            result = self.run_inside(*words, "--dry-run", options=self.inside_options(), cwd=self.package)
            self.assertEqual(result, (f"would register: {INDESIGN}\n".encode(), b"", ALL_DONE))

    def test_a_working_directory_that_has_gone(self):
        gone = self.folder / "gone"
        gone.mkdir()
        self.assert_deploys([INDESIGN], ALL_DONE, REGISTERED, before=[
            "sh", "-c", f'cd "{gone}" && rmdir "{gone}" && exec "$@"', "sh"])

    def test_the_file_beside_it_may_have_any_mode(self):
        (self.package / "Resources" / "XManConfigV2.xml").chmod(0o400)
        self.deploy_once()
        self.assertEqual(stat.S_IMODE(self.copied.stat().st_mode), 0o644)
