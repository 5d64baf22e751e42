from harness.machine import BUILD, MachineTest


class RegistrationRun(MachineTest):
    """RegistrationRunTest.cpp, in the sandbox since the program's main opens the database."""

    def test_with_sqlite_and_the_shell_replaced(self):
        result = self.run_inside(BUILD / "tests" / "run_tests")
        self.assertEqual(result.status, 0, result.out.decode())
        self.assertRegex(result.out, rb"(?m)^\[  PASSED  \] [1-9]\d* tests\.$")
        print(result.out.decode())
