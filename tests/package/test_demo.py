"""The demo on a Mac, played on Linux: it asks before it does anything, and keeps its word."""

import os
import pty
import shutil

from harness.machine import BUILD, NO_SANDBOX, ROOT
from harness.macos import MacTest


class OnMacOS(MacTest):
    def setUp(self):
        super().setUp()
        self.tree = self.folder / "tree"
        for name in ("scripts", "tests/schemas"):
            shutil.copytree(ROOT / name, self.tree / name)
        (self.tree / "build").symlink_to(BUILD)
        self.make_tool("cmake", f"touch '{self.folder}/built'")

    def demo(self, answer):
        """The demo's Result on a terminal where this is typed."""
        outside, terminal = pty.openpty()
        try:
            os.write(outside, answer.encode())
            return self.run_on_the_mac(self.tree / "scripts" / "demo", stdin=terminal, variables=())
        finally:
            os.close(outside)
            os.close(terminal)

    def test_registers_and_leaves_nothing(self):
        result = self.demo("y\n")
        self.assertEqual(result.status, 0, result.err.decode())
        self.assertIn(b"/Library/Application Support/Adobe/Extension Manager CC\n", result.err)
        for line in (b"\nInsertXManConfig true\n", b"\nwould register: ", b"\nregistered: ", b"\nrestored: "):
            self.assertIn(line, result.out)
        self.assertEqual(list(self.support.iterdir()), [])

    def test_does_nothing_without_a_yes(self):
        result = self.demo("\n")
        self.assertEqual((result.out, result.status), (b"", NO_SANDBOX))
        self.assertTrue(result.err.endswith(b"demo: nothing was done\n"), result.err)
        self.assertFalse((self.folder / "built").exists())
