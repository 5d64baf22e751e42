from harness.machine import BUILD, MachineTest


class RunTests(MachineTest):
    """The tests of the program's main, in the sandbox because it opens the database."""

    def run_tests(self, names):
        result = self.run_inside(BUILD / "tests" / "run_tests", "--gtest_filter=" + names)
        self.assertEqual(result.status, 0, result.out.decode())
        self.assertRegex(result.out, rb"(?m)^\[  PASSED  \] [1-9]\d* tests?\.$")
        print(result.out.decode())

    def test_with_a_database(self):
        self.run_tests("-WithoutDatabase.*")

    def test_without_a_database(self):
        self.database.unlink()
        self.run_tests("WithoutDatabase.*")
