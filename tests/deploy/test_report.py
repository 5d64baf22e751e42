"""What a run says: lines, the object for programs, and the log, each of them word for word; and what
happens when it cannot be written."""

import json
import os
import socket

from harness.deploy import (ALL_DONE, BACKUPS, INCOPY, INDESIGN, NOT_REGISTERED, NOT_WRITTEN,
                            NO_APPLICATION, NO_DATABASE, REGISTERED, DeployTest)
from harness.machine import VERSION

TIME = 1769903999
STAMP = "2026-01-31T23:59:59Z tamsel-deploy: "
BACKUP = "0001-2026-01-31T235959Z"
LATER = "0002-2026-01-31T235959Z"
FILE = "XManConfigV2.xml was put in place"
DONE = [f"saved to {BACKUPS}/{BACKUP}", FILE, f"registered: {INDESIGN}"]
REMOVED = "the backup has no XManConfigV2.xml, so it is removed"
BACK = "to bring back the state before: sudo tamsel-deploy --restore "
UNWRITTEN = "the result could not be written"


def to(redirection):
    return ["sh", "-c", f'exec "$@" {redirection}', "sh"]


class ReportTest(DeployTest):
    present = (INDESIGN,)

    def assert_says(self, arguments, status, out, log, **how):
        """Standard output and the log, to the byte, at a known time."""
        environment = {**self.clock(TIME), "TZ": "Asia/Tokyo"}
        result = self.deploy(*arguments, environment=environment, **how)
        self.assertEqual((result.out.decode(), result.err.decode(), result.status),
                         (out, "".join(f"{STAMP}{line}\n" for line in log), status))


class Words(ReportTest):
    def test_a_registration_and_a_restore_tell_what_they_did_and_how_to_undo_it(self):
        self.assert_says([], ALL_DONE, REGISTERED, [*DONE, BACK + BACKUP])
        for arguments in ([], ["--dry-run"], ["--verify"], [INDESIGN]):
            self.assert_says(arguments, ALL_DONE, REGISTERED, [])
        self.assert_says(["--restore"], ALL_DONE, f"restored: {BACKUP}\n",
                         [f"saved to {BACKUPS}/{LATER}", REMOVED, f"restored: {BACKUP}", BACK + LATER])
        self.assert_says(["--dry-run"], ALL_DONE, f"would register: {INDESIGN}\n",
                         ["XManConfigV2.xml would be put in place"])
        third = "0003-2026-01-31T235959Z"
        self.assert_says(["/no.app", INDESIGN], NO_APPLICATION, f"not found: /no.app\n{REGISTERED}", [
            "/no.app: there is no such folder", f"saved to {BACKUPS}/{third}", *DONE[1:], BACK + third])
        self.copied.write_bytes(b"<other/>")
        for arguments, words in ((["--dry-run"], "would be replaced"), ([], "was replaced")):
            log = self.deploy("--replace-file", *arguments, environment=self.clock(TIME)).err.decode()
            self.assertIn(f"{STAMP}XManConfigV2.xml {words}\n", log)

    def test_objects_of_a_registration_and_a_restore(self):
        application = (f'"path":"{INDESIGN}","state":"%s","changed":%s,"reason":null,"differences":[]')
        form = ('{"command":"%s","status":0,"version":"' + VERSION + '","reason":null,'
                '"backup":%s,"restored":%s,"applications":[%s]}\n')

        def done(command, backup, state, changed):
            return form % (command, backup, "null", "{" + application % (state, changed) + "}")
        for arguments, out in (
                (["--dry-run"], done("dry-run", "null", "would register", "false")),
                ([], done("register", f'"{BACKUP}"', "registered", "true")),
                ([], done("register", "null", "registered", "false")),
                (["--dry-run"], done("dry-run", "null", "registered", "false")),
                (["--verify"], done("verify", "null", "registered", "false")),
                (["--restore"], form % ("restore", f'"{LATER}"', f'"{BACKUP}"', ""))):
            with self.subTest(arguments):
                result = self.deploy("--json", *arguments, environment=self.clock(TIME))
                self.assertEqual((result.out.decode(), result.status), (out, ALL_DONE))

    def test_objects_of_lists(self):
        form = ('{"command":"list","status":0,"version":"' + VERSION + '","reason":null,'
                '"backup":null,"restored":null,"applications":[],"backups":[%s]}\n')
        self.assert_says(["--json", "--list"], ALL_DONE, form % "", [])
        self.deploy(environment=self.clock(0))
        self.deploy("--restore", environment=self.clock(TIME))
        self.assert_says(["--list", "--json"], ALL_DONE, form % (
            '{"name":"0001-1970-01-01T000000Z","made":"1970-01-01T00:00:00Z",'
            f'"reason":"before registering {INDESIGN}","restorable":true}},'
            f'{{"name":"{LATER}","made":"2026-01-31T23:59:59Z",'
            '"reason":"before restoring 0001-1970-01-01T000000Z","restorable":true}'), [])

    def test_a_list_that_cannot_be_read(self):
        self.deploy_once()
        self.own.chmod(0o444)
        self.assert_unchanged(["--list"], NOT_REGISTERED, f"{BACKUPS}: Permission denied")
        self.own.chmod(0o755)

    def test_an_object_of_differences(self):
        path = "/Applications/Adobe InCopy 2020.app"
        self.add_applications(path)
        self.deploy(path)
        self.change("UPDATE Tb_XManConfig SET KeyValue = '2019' WHERE ProdID = 187 AND KeyName = 'suite';"
                    "DELETE FROM Tb_XManConfig WHERE ProdID = 187 AND KeyName = 'bit'")
        self.assert_says(["--verify", "--json", path], NOT_REGISTERED, (
            r'{"command":"verify","status":1,"version":"' + VERSION + r'",'
            r'"reason":"/Applications/Adobe InCopy 2020.app: suite is \"2019\" instead of \"CC\"; missing: '
            r'bit","backup":null,"restored":null,"applications":['
            r'{"path":"/Applications/Adobe InCopy 2020.app","state":"not registered","changed":false,'
            r'"reason":"suite is \"2019\" instead of \"CC\"; missing: bit","differences":['
            r'{"name":"bit","expected":"64","found":null},{"name":"suite","expected":"CC","found":"2019"}]}]}'
            "\n"), [f'{path}: suite is "2019" instead of "CC"; missing: bit'])
        self.change("DELETE FROM Tb_ProductInfoV2 WHERE ProdID = 187")
        found = json.loads(self.deploy("--verify", "--json", path).out)
        self.assertEqual(found["applications"][0]["differences"][0],
                         {"name": "ProdID", "expected": "187", "found": None})


class Unwritten(ReportTest):
    """What cannot be written shows in the status, and stops nothing; the log has it."""

    def test_a_full_device(self):
        full = to(">/dev/full")
        self.assert_says([], NOT_WRITTEN, "", [*DONE, UNWRITTEN, BACK + BACKUP], before=full)
        self.assert_verified(REGISTERED)
        for arguments in (["--verify"], ["--list"], ["--json", "--list"], [], ["-h"], ["--version"]):
            with self.subTest(arguments):
                self.assert_says(arguments, NOT_WRITTEN, "", [UNWRITTEN], before=full)
        self.assert_says(["--restore"], NOT_WRITTEN, "", [
            f"saved to {BACKUPS}/{LATER}", REMOVED, f"restored: {BACKUP}", UNWRITTEN, BACK + LATER],
                         before=full)
        # Whatever the result was.
        self.assert_says(["/no.app"], NOT_WRITTEN, "", ["/no.app: there is no such folder", UNWRITTEN],
                         before=full)
        # Where there are no lines, none is missing.
        self.database.unlink()
        self.assertEqual(self.deploy(before=full).status, NO_DATABASE)
        self.assertEqual(self.deploy("--json", before=full).status, NOT_WRITTEN)

    def test_closed_descriptors(self):
        """What is opened next gets their numbers, and must not get their lines."""
        content = self.dump()
        self.assertEqual(self.deploy(before=to("<&- >&- 2>&-")), (b"", b"", NOT_WRITTEN))
        self.assert_verified(REGISTERED)
        self.assertEqual((self.own / "lock").read_bytes(), b"")
        self.assertEqual(self.dump(self.all_backups()[0] / "ExMan.db"), content)
        self.assert_says(["--verify"], NOT_WRITTEN, "", [UNWRITTEN], before=to(">&-"))

    def test_a_log_that_cannot_be_written_does_no_harm(self):
        out = REGISTERED + "not found: /missing.app\n"
        for redirection in ("2>&-", "2>/dev/full"):
            result = self.deploy(INDESIGN, "/missing.app", before=to(redirection))
            self.assertEqual(result, (out.encode(), b"", NO_APPLICATION))
            # A restore opens it first of all.
            self.assertEqual(self.deploy("--restore", before=to(redirection)).status, ALL_DONE)
            self.assertEqual((self.own / "lock").read_bytes(), b"")

    def test_pipes_that_nobody_reads(self):
        for stream, status in (("stdout", NOT_WRITTEN), ("stderr", ALL_DONE)):
            read, write = os.pipe()
            os.close(read)
            process = self.start(**{stream: write})
            os.close(write)
            process.communicate(timeout=60)
            self.assertEqual(process.returncode, status)
            self.assert_verified(REGISTERED)
            self.unregister()


class SystemLog(ReportTest):
    def test_has_every_line_of_the_log(self):
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as log:
            log.bind(str(self.folder / "log"))
            log.setblocking(False)
            result = self.deploy("/miss%s%n\n.app", INCOPY, INDESIGN,
                                 options=["--bind", self.folder / "log", "/dev/log"])
            lines = [line.partition(" tamsel-deploy: ")[2] for line in result.err.decode().splitlines()]
            self.assertEqual(lines[0], "/miss%s%n\\n.app: there is no such folder")
            self.assertGreater(len(lines), 4)
            for line in lines:
                head, _, text = log.recv(65536).decode().rstrip("\0").partition("]: ")
                self.assertRegex(head, r"\A<\d+>.* tamsel-deploy\[\d+\Z")
                self.assertEqual(text, line)
