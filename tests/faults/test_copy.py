from harness.faults import WHOLE, FaultTest
from harness.machine import search_path, slow
from harness.registration import INDESIGN
from harness.report import Claims


@slow
class Copy(FaultTest):
    """Whatever happens to cp, the registration is already done, and the program takes no notice."""

    def trace(self, *options):
        """Runs a registration, cp under strace, and returns its Result and the trace."""
        log = self.folder / "trace"
        words = " ".join(f"'{word}'" for word in ("-qq", "-s", "4096", "-o", log, *options))
        self.make_tool("cp", f'exec strace {words} /bin/cp "$@"')
        result = self.run_tamsel("-r", INDESIGN, path=search_path(self.tools))
        return result, log.read_text(errors="replace")

    def check(self, name, number, result):
        self.assert_result(result, WHOLE, result.err)
        self.assert_sound(Claims(True, True))

    def test_crash_of_cp_at_every_system_call(self):
        self.inject_everywhere("all", "signal=KILL", self.check)

    def test_input_and_output_error_at_every_call_of_cp_with_files(self):
        self.inject_everywhere("%file,%desc", "error=EIO", self.check)
