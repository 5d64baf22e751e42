"""What is tried on each Mac before a release, with the programs of this system."""

from harness.machine import NO_SANDBOX, write_script
from harness.checkout import TOOLS, CheckoutTest


class Trial(CheckoutTest):
    def setUp(self):
        super().setUp()
        self.local = self.folder / "local"
        self.local.mkdir()

    def start(self, what, *variables):
        return self.call("packaging/macos/try", what, binds=["--bind", self.local, "/usr/local"],
                         variables=variables)

    def assert_tries(self, what, *headings, variables=()):
        result = self.start(what, *variables)
        self.assertEqual(result.status, 0, result.err.decode())
        self.assertEqual([line[4:] for line in result.out.decode().splitlines() if line.startswith("=== ")],
                         list(headings))
        self.assertEqual(list(self.local.iterdir()), [])

    def assert_fails(self, reason):
        result = self.start("archive")
        self.assertNotEqual(result.status, 0)
        self.assertIn(reason, (result.out + result.err).decode())

    def test_uses_what_is_released_and_leaves_nothing(self):
        self.succeed("scripts/package")
        self.assert_tries("archive", "programs", "programs with arch -x86_64", "uninstall",
                          variables=["MACHINE=arm64"])
        self.assert_tries("distribution", "programs", "uninstall")
        self.assertEqual((self.folder / "receipts").read_text(), "")
        self.make_tool("pkgutil", "[ $1 = --forget ] || echo local.tamsel")
        self.assert_fails("try: a receipt is left\n")

    def test_notices_what_goes_wrong(self):
        wrong = write_script(self.folder / "tamsel-deploy", "exit 0\n")
        self.make_tool("cmake", f"{TOOLS['cmake']}; cp {wrong} build-universal")
        self.succeed("scripts/package")
        self.assert_fails("'[' '' = 'registered: ")
        self.make_tool("cmake", TOOLS["cmake"])
        write_script(self.tree / "packaging" / "uninstall", "")
        self.succeed("scripts/package")
        self.assert_fails("try: /usr/local/bin/Tamsel is left\n")

    def test_changes_nothing_on_another_mac(self):
        self.succeed("scripts/package")
        self.assertEqual(self.start("archive", "TAMSEL_THROW_AWAY_MACHINE=").status, NO_SANDBOX)
        self.assertEqual(list(self.local.iterdir()), [])
