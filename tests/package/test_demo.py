"""The demo on a Mac: it asks before it does anything, and keeps its word."""

import os
import pty
import shutil

from harness.machine import BUILD, NO_SANDBOX, ROOT
from package.macos import MANAGER, MacTest

QUESTION = """\
The demo needs the place of the Extension Manager, which this Mac does not have. For some seconds,
and through sudo, it puts a link there, to a temporary folder:

    /Library/Application Support/Adobe/Extension Manager CC

The link is removed in every case. An Extension Manager must not be installed meanwhile.

"""


class OnMacOS(MacTest):
    def setUp(self):
        super().setUp()
        self.tree = self.folder / "tree"
        for name in ("scripts", "tests/schemas"):
            shutil.copytree(ROOT / name, self.tree / name)
        (self.tree / "build").symlink_to(BUILD)
        self.built = self.folder / "built"
        self.make_tool("cmake", f'echo cmake >>"{self.built}"\n')

    def demo(self, answer=None, **how):
        """The demo's Result, on a terminal if there is an answer."""
        if answer is None:
            return self.run_on_the_mac(self.tree / "scripts" / "demo", **how)
        outside, terminal = pty.openpty()
        try:
            os.write(outside, answer.encode())
            return self.run_on_the_mac(self.tree / "scripts" / "demo", stdin=terminal, variables=(), **how)
        finally:
            os.close(outside)
            os.close(terminal)

    def assert_shown(self, result, err):
        out = result.out.decode()
        self.assertEqual((result.err.decode(), result.status), (err, 0))
        self.assertIn("\nrows in Tb_ProductInfoV2: 1\nrows in Tb_XManConfig: 14\n", out)
        self.assertEqual(self.built.read_text(), "cmake\ncmake\n")
        self.assertEqual(list(self.support.iterdir()), [])

    def assert_nothing_done(self, result, err):
        self.assertEqual((result.out, result.err.decode(), result.status), (b"", err, NO_SANDBOX))
        self.assertFalse(self.built.exists())

    def test_asks_on_a_terminal(self):
        for answer in ("y\n", "Yes\n"):
            self.assert_shown(self.demo(answer), QUESTION + "Go on? [y/N] ")
            self.built.unlink()

    def test_does_nothing_without_a_yes(self):
        for answer in ("n\n", "\n", "\4"):
            self.assert_nothing_done(self.demo(answer),
                                     QUESTION + "Go on? [y/N] demo: nothing was done\n")

    def test_takes_the_variable_for_an_answer(self):
        self.assert_shown(self.demo(), "")

    def test_does_nothing_without_a_terminal(self):
        self.assert_nothing_done(self.demo(variables=()), (
            "sandbox: macOS has no namespaces; on a machine to be thrown away, set"
            " TAMSEL_THROW_AWAY_MACHINE=yes\n"))

    def test_names_what_is_safe_beside_a_real_extension_manager(self):
        (self.support / MANAGER).mkdir(parents=True)
        for how in ({}, {"variables": ()}, {"answer": "y\n"}):
            self.assert_nothing_done(self.demo(**how), (
                "sandbox: this machine has an Extension Manager\n"
                "demo: The demo puts a private Extension Manager into the place of a real one, and that"
                " is taken, so\nnothing was done. What a registration would do here, this says without"
                " changing anything:\n\n"
                "    cmake -S . -B build && cmake --build build && sudo build/tamsel-deploy --dry-run\n"))
