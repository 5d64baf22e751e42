"""What is tried on each Mac: here the programs of this system take the place of those of a Mac, and
others that of its tools. A stand-in for tamsel-deploy does wrong what the trial has to notice."""

import shutil

from harness.machine import BUILD, CONFIGURATION, DATABASE, NO_SANDBOX, ROOT, write_script
from package.archive import NAME, PROGRAMS, ArchiveTest
from package.macos import MANAGER, MacTest

PACKAGE = NAME.replace("-macos-universal", ".pkg")
DEPLOY = f"""\
cd "/Library/Application Support"
case $1 in
--dry-run) ;;
--verify)
    rows=$(sqlite3 "{DATABASE}" "SELECT COUNT(*) FROM Tb_XManConfig WHERE ProdID = 190")
    [ "$rows" = 14 ]
    ;;
--restore) cp Tamsel/ExMan.db "{DATABASE}" && rm "{CONFIGURATION}/XManConfigV2.xml" ;;
*)
    mkdir Tamsel && cp "{DATABASE}" Tamsel
    "${{0%/*}}/Tamsel" -r "$1" >/dev/null
    echo "registered: $1"
    ;;
esac
"""


class TrialTest(ArchiveTest, MacTest):
    def setUp(self):
        super().setUp()
        self.tree = self.folder / "tree"
        for name in ("packaging", "scripts", "tests/schemas", "tests/expected"):
            shutil.copytree(ROOT / name, self.tree / name)
        shutil.copy(ROOT / "CMakeLists.txt", self.tree)
        (self.tree / "dist").mkdir()
        self.local = self.folder / "local"
        self.local.mkdir()
        self.make_tool("uname", 'case ${1:-} in -m) echo x86_64 ;; *) echo Darwin ;; esac')
        for program in PROGRAMS:
            shutil.copy(BUILD / program, self.unpacked)
        self.pack_into_dist()

    def write_deploy(self, script):
        write_script(self.unpacked / "tamsel-deploy", script)
        self.pack_into_dist()

    def pack_into_dist(self):
        self.pack()
        for name in (self.archive.name, "SHA256SUMS"):
            shutil.copy(self.folder / name, self.tree / "dist")

    def start(self, script, **how):
        return self.run_on_the_mac(self.tree / "packaging" / "macos" / script,
                                   binds=["--bind", self.local, "/usr/local"], **how)

    def assert_tried(self, result, *headings):
        self.assertEqual(result.status, 0, result.err.decode())
        lines = result.out.decode().splitlines()
        self.assertEqual([line[4:] for line in lines if line.startswith("=== ")], list(headings))
        self.assertEqual(list(self.local.rglob("*")), [])
        self.assertEqual(list(self.support.iterdir()), [])

    def assert_fails(self, script, err):
        result = self.start(script)
        self.assertNotEqual(result.status, 0)
        self.assertIn(err, (result.out + result.err).decode())
        self.assertEqual(list(self.support.iterdir()), [])


class Archive(TrialTest):
    def test_uses_what_was_released_and_leaves_nothing(self):
        self.assert_tried(self.start("try-archive"), "Tamsel", "tamsel-deploy", "uninstall")

    def test_uses_the_parts_for_intel_on_apple_silicon(self):
        self.make_tool("uname", 'case ${1:-} in -m) echo arm64 ;; *) echo Darwin ;; esac')
        self.make_tool("arch", f'echo "$*" >>"{self.folder}/calls" && shift && exec "$@"')
        self.assert_tried(self.start("try-archive"), "Tamsel", "tamsel-deploy", "arch -x86_64 Tamsel",
                          "arch -x86_64 tamsel-deploy", "uninstall")
        self.assertIn("-x86_64 /usr/local/libexec/tamsel/Tamsel -r",
                      (self.folder / "calls").read_text())

    def test_names_what_cannot_be_tried(self):
        self.make_tool("uname", 'case ${1:-} in -m) echo arm64 ;; *) echo Darwin ;; esac')
        self.make_tool("arch", "exit 1")
        self.assert_tried(self.start("try-archive"), "Tamsel", "tamsel-deploy",
                          "not tried: the parts for Intel, since this Mac has no Rosetta", "uninstall")

    def test_changes_nothing_on_another_mac(self):
        result = self.start("try-archive", variables=())
        self.assertEqual((result.out, result.status), (b"", NO_SANDBOX))
        (self.support / MANAGER).mkdir(parents=True)
        self.assertEqual(self.start("try-archive").status, NO_SANDBOX)
        self.assertEqual(list(self.local.iterdir()), [])

    def test_notices_a_wrong_checksum(self):
        (self.tree / "dist" / "SHA256SUMS").write_text("0" * 64 + f"  {NAME}.tar.gz\n")
        self.assert_fails("try-archive", "FAILED")

    def test_notices_what_goes_wrong(self):
        for right, wrong, err in (
                ('echo "registered: $1"', 'echo "failed: $1"', "= 'registered: "),
                ('&& rm "', '&& : "', "status=1"),
                ("--dry-run) ;;", "--dry-run) exit 7 ;;", "--dry-run"),
                ("--restore) cp", "--restore) :", "--verify"),
                ("cp Tamsel/ExMan.db", "sqlite3 Tamsel/ExMan.db 'DELETE FROM Tb_ProductInfoV2' && cp"
                 " Tamsel/ExMan.db", "differ"),
                ('[ "$rows" = 14 ]', '[ "$rows" = 15 ]', "--verify")):
            with self.subTest(wrong):
                self.assertIn(right, DEPLOY)
                self.write_deploy(DEPLOY.replace(right, wrong))
                self.assert_fails("try-archive", err)

    def test_notices_a_program_that_does_not_register(self):
        for after, err in ((" >/dev/null", "/out which is empty"),
                           (f' && sqlite3 "{DATABASE}" "DELETE FROM Tb_XManConfig"', "/rows"),
                           (f' && rm "{CONFIGURATION}/XManConfigV2.xml"', "/XManConfigV2.xml: No such file")):
            with self.subTest(after):
                write_script(self.unpacked / "Tamsel", f'{BUILD}/Tamsel "$@"{after}\n')
                self.write_deploy(DEPLOY)
                self.assert_fails("try-archive", err)

    def test_notices_what_is_left(self):
        write_script(self.unpacked / "uninstall", "")
        self.write_deploy(DEPLOY)
        self.assert_fails("try-archive", "try-installed: /usr/local/bin/Tamsel is left\n")


class Distribution(TrialTest):
    def setUp(self):
        super().setUp()
        write_script(self.tree / "packaging" / "macos" / "make-distribution",
                     f"cp dist/*.tar.gz dist/{PACKAGE}\n")
        # The package is the archive, and the receipt a file.
        self.make_tool("installer", '[ "$1 $3 $4" = "-pkg -target /" ] && mkdir /usr/local/new &&'
                       ' tar -xzf "$2" -C /usr/local/new --strip-components 1 && /usr/local/new/install &&'
                       f' rm -r /usr/local/new && echo tools.Tamsel >"{self.folder}/receipts"\n')
        self.make_tool("pkgutil", f'case $1 in --pkgs) cat "{self.folder}/receipts" ;;'
                       f' --forget) : >"{self.folder}/receipts" ;; esac')

    def test_is_installed_and_leaves_nothing(self):
        result = self.start("try-distribution")
        self.assert_tried(result, "Tamsel", "tamsel-deploy", "uninstall")

    def test_a_receipt_that_is_left(self):
        self.make_tool("pkgutil", f'[ $1 = --forget ] || cat "{self.folder}/receipts"')
        self.assert_fails("try-distribution", "try-distribution: a receipt is left\n")

    def test_changes_nothing_on_another_mac(self):
        self.assertEqual(self.start("try-distribution", variables=()).status, NO_SANDBOX)
        self.assertFalse((self.tree / "dist" / PACKAGE).exists())
