from harness.machine import BUILD, MachineTest


class RegistrationRun(MachineTest):
    """RegistrationRunTest.cpp, in the sandbox since the program's main opens the database."""

    def test_with_sqlite_and_the_shell_replaced(self):
        result = self.run_inside(BUILD / "tests" / "run_tests")
        self.assertIn(b"[  PASSED  ] 3 tests.", result.out, result.out.decode())
        self.assertEqual(result.status, 0)
        print(result.out.decode())
