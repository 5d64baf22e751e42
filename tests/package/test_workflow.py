"""The workflow that builds and releases, as far as it can be checked without running it."""

import os
import re
import subprocess

from harness.machine import ROOT, MachineTest

WORKFLOW = (ROOT / ".github" / "workflows" / "build.yml").read_text()
# What the steps start apart from scripts of the tree.
COMMANDS = {"diff", "echo"}


class Workflow(MachineTest):
    def test_every_script_exists(self):
        runs = re.findall(r"(?m)^ +(?:- )?run: (.+)$", WORKFLOW)
        self.assertEqual(len(runs), WORKFLOW.count("run:"))
        scripts = {run.split()[0] for run in runs} - COMMANDS
        self.assertGreater(len(scripts), 6)
        for script in scripts:
            with self.subTest(script):
                self.assertTrue(os.access(ROOT / script, os.X_OK))

    def test_every_action_is_pinned_to_a_commit(self):
        actions = re.findall(r"(?m)^ +(?:- )?uses: (.+)$", WORKFLOW)
        self.assertEqual(len(actions), WORKFLOW.count("uses:"))
        for action in actions:
            self.assertRegex(action, r"\A[\w-]+/[\w-]+@[0-9a-f]{40} # v\d+\.\d+\.\d+\Z")

    def test_each_job_may_do_as_little_as_it_can(self):
        granted = re.findall(r"(?m)^( *)permissions:\n((?:\1  \S.*\n)+)", WORKFLOW)
        self.assertEqual(["".join(lines.split()) for _, lines in granted],
                         ["contents:read", "id-token:writeattestations:write", "contents:write"])
        self.assertEqual(WORKFLOW.count("persist-credentials: false"), WORKFLOW.count("actions/checkout@"))

    def test_machines(self):
        self.assertEqual(set(re.findall(r"(?m)^ +(?:- os|runs-on): (.+)$", WORKFLOW)),
                         {"ubuntu-24.04", "${{ matrix.os }}", "macos-26", "macos-26-intel"})


class Linter(MachineTest):
    def lint(self, text):
        """What the linter says about a workflow."""
        if not (ROOT / "build-lint" / "installed").exists():
            self.cannot_run("the linter of workflows is not installed, which .github/lint does")
        file = self.folder / "build.yml"
        file.write_text(text)
        finished = subprocess.run([ROOT / ".github" / "lint", file], capture_output=True, text=True,
                                  check=False)
        self.assertEqual((finished.stdout, finished.returncode), ("", 1 if finished.stderr else 0))
        return re.findall(rf"(?m)^{file}:\d+:\d+: (.+)$", finished.stderr)

    def test_is_content(self):
        self.assertEqual(self.lint(WORKFLOW), [])

    def test_notices_what_is_wrong(self):
        rows = (("os: macos-26\n", "os: macos-27\n", 'label "macos-27" is unknown'),
                ("os: macos-26-intel", "os: macos-26-intel-large", 'label "macos-26-intel-large" is unknown'),
                ("timeout-minutes: 90", "timeout: 90", 'unexpected key "timeout" for "job" section'),
                ("needs: [linux, macos]", "needs: [linux, mac]", 'needs job "mac" which does not exist'),
                ("matrix.formula", "matrix.formulas", 'property "formulas" is not defined'),
                ("id-token: write", "id-token: all", '"all" is invalid for permission'))
        text = WORKFLOW
        for right, wrong, _ in rows:
            self.assertIn(right, text)
            text = text.replace(right, wrong, 1)
        found = self.lint(text)
        self.assertEqual(len(found), len(rows), found)
        for _, wrong, finding in rows:
            with self.subTest(wrong):
                self.assertIn(finding, " ".join(found))
