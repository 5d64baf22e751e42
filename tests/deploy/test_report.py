"""Where the report goes: standard output, standard error and the system's log, and what happens when
it cannot go there."""

import os
import socket

from harness.deploy import (ALL_DONE, INDESIGN, NOT_REGISTERED, NOT_WRITTEN, NO_APPLICATION, NO_DATABASE,
                            DeployTest, back)

REGISTERED = f"registered: {INDESIGN}\n"


def shell(redirection):
    return ["sh", "-c", f'exec "$@" {redirection}', "sh"]


class ReportTest(DeployTest):
    def setUp(self):
        super().setUp()
        self.add_applications(INDESIGN)


class Output(ReportTest):
    """What cannot be written shows in the status, and stops nothing."""

    def assert_not_written(self, *arguments, **how):
        with self.subTest(arguments):
            return self.assert_deploys(arguments, NOT_WRITTEN, **how)

    def assert_shows_the_way_back(self, *arguments, **how):
        """The newest backup holds the state before."""
        result = self.assert_not_written(*arguments, **how)
        self.assertTrue(result.err.decode().endswith(back(self.all_backups()[-1].name)))

    def test_a_full_device(self):
        full = shell(">/dev/full")
        self.assert_not_written("--dry-run", before=full)
        self.assert_shows_the_way_back(INDESIGN, before=full)
        self.assert_verified(REGISTERED)
        self.assert_not_written("--list", before=full)
        self.assert_shows_the_way_back("--restore", before=full)
        self.assert_verified(f"not registered: {INDESIGN}\n", NOT_REGISTERED)
        for arguments in (["--verify"], ["--json"], ["--json", "--list"], ["--json", "--verify"]):
            self.assert_not_written(*arguments, before=full)

    def test_a_full_device_whatever_the_result_was(self):
        full = shell(">/dev/full")
        self.assert_not_written("/missing.app", before=full)
        self.assert_not_written("--verify", before=full)
        self.assert_not_written("--json", "--restore", before=full)
        # If nothing is to be written, nothing can fail.
        self.assert_deploys(["--list"], ALL_DONE, before=full)
        self.database.unlink()
        self.assert_deploys([], NO_DATABASE, before=full)
        self.assert_not_written("--json", before=full)

    def test_a_closed_descriptor(self):
        self.assert_not_written(INDESIGN, before=shell(">&-"))
        self.assert_verified(REGISTERED)
        for arguments in (["--verify"], ["--list"], ["--json"], ["--restore"], ["-h"]):
            self.assert_not_written(*arguments, before=shell(">&-"))

    def test_a_pipe_that_nobody_reads(self):
        read, write = os.pipe()
        os.close(read)
        process = self.start(stdout=write)
        os.close(write)
        result = self.finish(process)
        self.assertEqual(result.status, NOT_WRITTEN)
        self.assert_verified(REGISTERED)

    def test_all_descriptors_closed(self):
        """What is opened next gets their numbers, and must not get their lines."""
        content = self.dump()
        result = self.deploy(INDESIGN, "/missing.app", before=shell("<&- >&- 2>&-"))
        self.assertEqual(result, (b"", b"", NOT_WRITTEN))
        self.assert_verified(REGISTERED)
        self.assertEqual((self.own / "lock").read_bytes(), b"")
        backup, = self.all_backups()
        self.assertEqual(self.dump(backup / "ExMan.db"), content)


class Log(ReportTest):
    def test_standard_error_closed_or_full_does_no_harm(self):
        for redirection in ("2>&-", "2>/dev/full"):
            result = self.deploy(INDESIGN, "/missing.app", before=shell(redirection))
            self.assertEqual(result.out.decode(), REGISTERED + "not found: /missing.app\n")
            self.assertEqual(result[1:], (b"", NO_APPLICATION))
            self.change("DELETE FROM Tb_XManConfig WHERE ProdID = 190")

    def test_standard_error_that_nobody_reads_does_no_harm(self):
        read, write = os.pipe()
        os.close(read)
        process = self.start(INDESIGN, "/missing.app", stderr=write)
        os.close(write)
        self.assertEqual(process.communicate()[0], (REGISTERED + "not found: /missing.app\n").encode())
        self.assertEqual(process.returncode, NO_APPLICATION)

    def test_a_line_for_everything_that_failed(self):
        out = ("Tamsel cannot register a path with a quote or a line break: /missing\\n.app\n"
               f"not an application bundle: /Applications\n{REGISTERED}")
        result = self.assert_deploys(["/missing\n.app", "/Applications", INDESIGN], NO_APPLICATION, out)
        self.assertIn("/missing\\n.app", result.err.decode())
        self.assertIn("/Applications", result.err.decode())

    def test_the_way_back_after_a_failure(self):
        self.change("CREATE TRIGGER Refuse BEFORE INSERT ON Tb_XManConfig"
                    " BEGIN SELECT RAISE(ABORT, 'refused'); END")
        result = self.assert_deploys([INDESIGN], NOT_REGISTERED, f"failed: {INDESIGN}\n")
        self.assertTrue(result.err.decode().endswith(back(self.all_backups()[0].name)))

    def test_no_way_back_where_there_is_no_backup(self):
        self.assertNotIn(b"to bring back", self.deploy("/missing.app").err)

    def test_the_times_are_those_of_the_clock(self):
        result = self.deploy("/missing.app", environment={**self.clock(1769903999), "TZ": "Asia/Tokyo"})
        self.assertTrue(result.err.startswith(b"2026-01-31T23:59:59Z tamsel-deploy: "), result.err)


class SystemLog(ReportTest):
    def setUp(self):
        super().setUp()
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.addCleanup(self.socket.close)
        self.socket.bind(str(self.folder / "log"))
        self.socket.setblocking(False)

    def received(self):
        """What has arrived, without the date and the process."""
        messages = []
        while True:
            try:
                messages.append(self.socket.recv(65536).decode().rstrip("\0"))
            except BlockingIOError:
                return messages

    def test_every_line_arrives_there_too(self):
        result = self.deploy("/miss%s%n\n.app", INDESIGN, options=["--bind", self.folder / "log", "/dev/log"])
        self.assertEqual(result.status, NO_APPLICATION)
        lines = [line.partition(" tamsel-deploy: ")[2] for line in result.err.decode().splitlines()]
        self.assertGreater(len(lines), 0)
        messages = self.received()
        self.assertEqual([message.partition(": ")[2] for message in messages], lines)
        for message in messages:
            self.assertRegex(message, r"\A<\d+>.* tamsel-deploy(\[\d+\])?: ")
