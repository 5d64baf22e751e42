from harness.machine import BUILD, MachineTest


class RunTests(MachineTest):
    """The tests of the program's main, in the sandbox because it opens the database."""

    def test_with_a_database(self):
        result = self.run_inside(BUILD / "tests" / "run_tests")
        self.assertEqual(result.status, 0, result.out.decode())
        self.assertRegex(result.out, rb"(?m)^\[  PASSED  \] [1-9]\d* tests?\.$")
