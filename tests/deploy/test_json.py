"""The object that --json prints for scripts."""

import json

from harness.deploy import (ALL_DONE, ANOTHER_RUN, DAMAGED, INCOMPLETE, INCOPY, INDESIGN, IN_USE,
                            NOT_REGISTERED, NOT_RESTORED, NOT_ROOT, NOT_WRITTEN, NO_APPLICATION, NO_BACKUP,
                            NO_DATABASE, NO_FILE, RUNNING, USAGE, VERSION, DeployTest)

KEYS = ["status", "version", "reason", "backup", "applications"]
PRODUCT = ["the product's row", "$iconpath", "$indesign", "$indesign_user", "$installfolder",
           "$pluginconfigfile", "$preextensionfolder", "bit", "defaultlocale", "displayname", "familyname",
           "hostnameforcsxs", "minexmanversion", "productname", "suite"]


class JsonTest(DeployTest):
    def setUp(self):
        super().setUp()
        self.add_applications(INDESIGN)

    def deploy_json(self, *arguments, status, **how):
        """The object of a run, with its form and status checked; the log is as usual."""
        result = self.deploy("--json", "--wait", "0", *arguments, **how)
        self.assertEqual(result.status, status, result.err)
        self.assert_logged(result.err)
        self.assertEqual(result.out.count(b"\n"), 1)
        self.assertTrue(result.out.endswith(b"}\n"))
        found = json.loads(result.out)
        self.assertEqual(list(found), KEYS + (["backups"] if "--list" in arguments else []))
        self.assertEqual((found["status"], found["version"]), (status, VERSION))
        for application in found["applications"]:
            self.assertEqual(list(application), ["path", "state", "reason", "missing"])
        if status == ALL_DONE:
            self.assertIsNone(found["reason"])
        else:
            self.assertIn(f"Z tamsel-deploy: {found['reason']}\n", result.err.decode())
        return found

    def assert_fails(self, status, *states, arguments=(), **how):
        """Checks the states of the applications after a failure; none of them needs a reason."""
        found = self.deploy_json(*arguments, status=status, **how)
        self.assertEqual([application["state"] for application in found["applications"]], list(states))
        return found


class Bytes(JsonTest):
    """The form, byte for byte."""

    def assert_bytes(self, arguments, out, **how):
        result = self.deploy("--json", *arguments, environment=self.clock(1769903999), **how)
        self.assertEqual((result.out.decode(), result.status), (out, json.loads(out)["status"]))

    def test_a_registration(self):
        out = ('{"status":0,"version":"1.0.2","reason":null,"backup":"0001-2026-01-31T235959Z",'
               '"applications":[{"path":"/Applications/Adobe InDesign 2020/Adobe InDesign 2020.app",'
               '"state":"registered","reason":null,"missing":[]}]}\n')
        self.assert_bytes([], out)
        out = out.replace('"0001-2026-01-31T235959Z"', "null")
        for arguments in ([], ["--dry-run"], ["--verify"]):
            self.assert_bytes(arguments, out)
        self.assert_bytes(["--restore"], '{"status":0,"version":"1.0.2","reason":null,'
                          '"backup":"0001-2026-01-31T235959Z","applications":[]}\n')

    def test_a_list(self):
        start = '{"status":0,"version":"1.0.2","reason":null,"backup":null,"applications":[],"backups":['
        self.assert_bytes(["--list"], start + "]}\n")
        self.deploy(environment=self.clock(0))
        self.deploy("--restore", environment=self.clock(1))
        self.assert_bytes(["--list"], start + (
            '{"name":"0001-1970-01-01T000000Z","made":"1970-01-01T00:00:00Z",'
            '"reason":"before registering /Applications/Adobe InDesign 2020/Adobe InDesign 2020.app"},'
            '{"name":"0002-1970-01-01T000001Z","made":"1970-01-01T00:00:01Z",'
            '"reason":"before restoring 0001-1970-01-01T000000Z"}]}\n'))

    def test_characters_that_have_to_be_escaped(self):
        folder = self.folder / 'a"b\\c\nd\te\x7f\u0085é☃'
        path = folder / "missing.app"
        result = self.deploy("--json", "--verify", path, INDESIGN)
        shown = f'{self.folder}/a\\"b\\\\\\\\c\\\\nd\\\\x09e\\\\x7F\\\\xC2\\\\x85é☃/missing.app'
        self.assertTrue(result.out.decode().startswith(
            '{"status":6,"version":"1.0.2","reason":"'), result.out)
        self.assertIn(f'"applications":[{{"path":"{shown}","state":"Tamsel cannot register a path with a'
                      ' quote or a line break"', result.out.decode())

    def test_nothing_but_text(self):
        result = self.deploy("--json", "--verify", b"/\xff\xe2\x98\x01.app")
        self.assertIn(rb'"path":"/\\xFF\\xE2\\x98\\x01.app","state":"not found"', result.out)
        self.assertEqual(json.loads(result.out)["applications"][0]["path"], r"/\xFF\xE2\x98\x01.app")


class Statuses(JsonTest):
    """There is an object for every status except wrong usage."""

    def test_status_0_when_an_application_is_registered(self):
        found = self.deploy_json(status=ALL_DONE)
        self.assertEqual(found["backup"], self.all_backups()[0].name)

    def test_status_1_when_one_is_not_registered(self):
        found = self.assert_fails(NOT_REGISTERED, "not registered", arguments=["--verify"])
        self.assertEqual(found["applications"][0]["missing"], PRODUCT)
        self.change("CREATE TRIGGER Refuse BEFORE INSERT ON Tb_XManConfig"
                    " BEGIN SELECT RAISE(ABORT, 'refused'); END")
        found = self.assert_fails(NOT_REGISTERED, "failed")
        self.assertEqual(found["backup"], self.all_backups()[0].name)
        self.assertTrue(found["applications"][0]["reason"])

    def test_status_2_has_no_object(self):
        for arguments in (["--json", "--no"], ["--json", "--json"], ["--json", "--list", "x"]):
            self.assert_refuses(arguments, USAGE)

    def test_status_3_when_root_is_needed(self):
        self.assert_fails(NOT_ROOT, options=["--user", "501"])
        self.assert_fails(NOT_ROOT, arguments=["--list"], options=["--user", "501"])

    def test_status_4_when_the_extension_manager_is_running(self):
        self.assert_fails(RUNNING, options=self.stand_in("exit 0", "pgrep"))

    def test_status_5_without_a_database(self):
        self.database.unlink()
        self.assert_fails(NO_DATABASE)

    def test_status_6_when_applications_cannot_be_registered(self):
        self.add_applications(INCOPY)
        found = self.assert_fails(NO_APPLICATION, "not found", "would register", "given twice", "given twice",
                                  arguments=["--dry-run", "/missing.app", INDESIGN, INCOPY, INCOPY + "/"])
        self.assertEqual([application["path"] for application in found["applications"]],
                         ["/missing.app", INDESIGN, INCOPY, INCOPY + "/"])

    def test_status_6_without_any_application(self):
        (self.inside(INDESIGN) / "Contents" / "Info.plist").unlink()
        self.assert_fails(NO_APPLICATION)

    def test_status_7_when_no_backup_can_be_made(self):
        self.own.mkdir(parents=True)
        self.backups.write_text("in the way")
        found = self.assert_fails(NO_BACKUP, "failed")
        self.assertIsNone(found["backup"])

    def test_status_8_without_the_file(self):
        self.deploy_once()
        self.copied.unlink()
        found = self.assert_fails(NO_FILE, "without XManConfigV2.xml", arguments=["--verify"])
        self.assertEqual(found["applications"][0]["missing"], [])

    def test_status_9_when_nothing_can_be_restored(self):
        self.assert_fails(NOT_RESTORED, arguments=["--restore"])

    def test_status_10_without_the_program(self):
        (self.package / "Tamsel").unlink()
        self.assert_fails(INCOMPLETE)

    def test_status_11_when_another_run_holds_the_lock(self):
        self.hold_run_lock()
        self.assert_fails(ANOTHER_RUN, "failed")

    def test_status_12_when_the_database_is_in_use(self):
        self.hold("BEGIN EXCLUSIVE")
        self.assert_fails(IN_USE, "failed")
        self.assert_fails(IN_USE, "failed", arguments=["--verify"])

    def test_status_13_when_the_database_is_damaged(self):
        self.database.write_bytes(b"x" * 4096)
        self.assert_fails(DAMAGED, "failed")

    def test_status_14_when_the_object_cannot_be_written(self):
        self.assert_refuses(["--verify", "--json"], NOT_WRITTEN,
                            before=["sh", "-c", 'exec "$@" >/dev/full', "sh"])
