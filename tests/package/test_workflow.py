"""The workflow that builds and releases, as far as it can be checked without running it."""

import os
import re
import unittest

from harness.machine import ROOT

WORKFLOW = (ROOT / ".github" / "workflows" / "build.yml").read_text()


class Workflow(unittest.TestCase):
    def test_every_step_is_a_script_of_the_tree(self):
        runs = re.findall(r"(?m)^ +(?:- )?run: (.+)$", WORKFLOW)
        self.assertEqual(len(runs), WORKFLOW.count("run:"))
        for script in {run.split()[0] for run in runs} - {"diff"}:
            self.assertTrue(os.access(ROOT / script, os.X_OK), script)

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
