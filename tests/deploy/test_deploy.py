import os
import shutil
import stat

from harness.deploy import (ALL_DONE, APPLICATIONS, BACKUPS, INCOPY, INDESIGN, NO_APPLICATION, NO_FILE,
                            NOT_REGISTERED, DeployTest)
from harness.machine import CONFIGURATION, DATABASE


class Registration(DeployTest):
    def test_every_supported_application_in_the_applications_folder(self):
        self.add_applications(*(f"/Applications/{name}/{name}.app" for name in APPLICATIONS[:4]),
                              *(f"/Applications/{name}.app" for name in APPLICATIONS[3:]),
                              "/Applications/Adobe Photoshop 2020/Adobe Photoshop 2020.app")
        paths = [f"/Applications/{name}/{name}.app" for name in APPLICATIONS[:4]]
        paths += [f"/Applications/{name}.app" for name in APPLICATIONS[4:]]
        self.assert_verified("".join(f"not registered: {path}\n" for path in paths), NOT_REGISTERED,
                             f"{paths[0]}: missing or different: the product's row $iconpath $incopy ")
        self.assert_deploys(["--dry-run"], ALL_DONE,
                            "".join(f"would register: {path}\n" for path in paths))
        registered = "".join(f"registered: {path}\n" for path in paths)
        self.assert_deploys([], ALL_DONE, registered, "saved to " + BACKUPS)
        self.assert_verified(registered)
        self.assertEqual(self.rows("SELECT ProdID FROM Tb_ProductInfoV2 ORDER BY ProdID"),
                         [(number,) for number in (12, 155, 156, 158, 159, 186, 187, 189, 190, 1860)])

    def test_given_applications(self):
        elsewhere = str(self.folder / "my %s $(apps)" / "Adobe InCopy 2020.app")
        os.makedirs(elsewhere)
        self.add_applications(INDESIGN, INCOPY)
        both = f"registered: {INDESIGN}\nregistered: {elsewhere}\n"
        self.assert_deploys([INDESIGN, elsewhere], ALL_DONE, both, "saved to")
        self.assert_verified(both, arguments=[INDESIGN, elsewhere])
        self.assert_verified(f"not registered: {INCOPY}\n", NOT_REGISTERED, "bit", [INCOPY])

    def test_every_spelling_of_a_path(self):
        self.add_applications(INDESIGN)
        folder = self.applications / "Adobe InDesign 2020"
        (folder / "-x" / "Adobe InDesign 2020.app").mkdir(parents=True)
        for path, registered in ((INDESIGN + "/", INDESIGN),
                                 ("./Adobe InDesign 2020.app", folder / "Adobe InDesign 2020.app"),
                                 ("./-x/Adobe InDesign 2020.app//",
                                  folder / "-x" / "Adobe InDesign 2020.app"),
                                 ("Adobe InDesign 2020.app//", folder / "Adobe InDesign 2020.app")):
            self.assert_deploys([path], ALL_DONE, f"registered: {registered}\n", "saved to", cwd=folder)

    def test_everybody_may_read_what_arrives(self):
        self.add_applications(INDESIGN)
        self.run_inside("/bin/sh", "-c", 'umask 077; exec "$0" "$@"', self.package / "tamsel-deploy",
                        INDESIGN, options=["--own-processes", "--bind", self.applications, "/Applications"])
        self.assertEqual(stat.S_IMODE(self.copied.stat().st_mode), 0o644)

    def test_tables_of_other_kinds(self):
        self.add_applications(INDESIGN)
        for schema in ("unique-index", "without-keys", "extra-columns"):
            self.create_database(schema)
            self.assert_deploys([], ALL_DONE, f"registered: {INDESIGN}\n", "saved to")


class Failures(DeployTest):
    def setUp(self):
        super().setUp()
        self.add_applications(INDESIGN, INCOPY)

    def test_a_path_that_cannot_be_registered(self):
        quoted = str(self.folder / "it's" / "Adobe InDesign 2020.app")
        broken = [str(self.folder / name) for name in (
            "a\nb/Adobe InDesign 2020.app", "a\n/Adobe InDesign 2020.app", "Adobe InDesign 2020.app\n")]
        self.add_applications("/Applications/Adobe Photoshop 2020.app")
        for path in (quoted, *broken):
            os.makedirs(path)
        reason = "Tamsel cannot register a path with a quote or a line break"
        for path, why in ((INDESIGN.replace("2020", "2021"), "not found"), ("", "not found"),
                          ("/Applications/Adobe Photoshop 2020.app", "not supported"),
                          ("/Applications/Adobe InDesign 2020", "not an application bundle"),
                          (quoted, reason), *((path, reason) for path in broken)):
            for command in ([], ["--dry-run"], ["--verify"]):
                before = self.state()
                self.assert_deploys([*command, path], NO_APPLICATION, f"{why}: {path}\n")
                self.assertEqual(self.state(), before)

    def test_the_others_are_registered_all_the_same(self):
        self.assert_deploys(["/missing.app", INDESIGN, "/Applications", INCOPY], NO_APPLICATION,
                            f"not found: /missing.app\nregistered: {INDESIGN}\n"
                            f"not an application bundle: /Applications\nregistered: {INCOPY}\n", "saved to")

    def test_the_first_failure_gives_the_status(self):
        self.assert_deploys(["/missing.app", INDESIGN, "/Applications", INCOPY], NO_APPLICATION,
                            f"not found: /missing.app\nfailed: {INDESIGN}\n"
                            f"not an application bundle: /Applications\nfailed: {INCOPY}\n",
                            "Return code after executing SQL: 8\n", options=["--read-only", DATABASE])

    def test_a_database_that_another_program_reads(self):
        self.hold("BEGIN; SELECT * FROM Tb_XManConfig")
        self.assert_deploys([], NOT_REGISTERED, f"failed: {INCOPY}\nfailed: {INDESIGN}\n",
                            "Tamsel: Return code after executing SQL: 5\n")

    def test_a_database_that_may_not_be_written(self):
        self.assert_deploys([INCOPY], NOT_REGISTERED, f"failed: {INCOPY}\n",
                            "Tamsel: Return code after executing SQL: 8\n",
                            options=["--read-only", DATABASE])

    def test_each_statement_by_itself(self):
        for table in ("Tb_ProductInfoV2", "Tb_XManConfig"):
            self.change(f"CREATE TRIGGER Refuse BEFORE INSERT ON {table}"
                        " BEGIN SELECT RAISE(ABORT, 'refused'); END")
            self.assert_deploys([INCOPY], NOT_REGISTERED, f"failed: {INCOPY}\n",
                                "Tamsel: Return code after executing SQL: 19\n")
            self.change("DROP TRIGGER Refuse")

    def test_rows_that_do_not_stay(self):
        self.change("CREATE TRIGGER Forget AFTER INSERT ON Tb_XManConfig WHEN NEW.KeyName = 'suite'"
                    " BEGIN DELETE FROM Tb_XManConfig WHERE KeyName = 'suite'; END")
        self.assert_deploys([INCOPY], NOT_REGISTERED, f"not registered: {INCOPY}\n",
                            "missing or different: suite\n")

    def test_a_program_that_says_nothing_or_breaks_down(self):
        for script in ("exit 0", "echo InsertProductInfo true; echo InsertXManConfig true; exit 1",
                       "echo InsertProductInfo true; echo InsertXManConfig truer",
                       "echo InsertProductInfo true", "exit 139"):
            (self.package / "Tamsel").write_text("#!/bin/sh\n" + script)
            self.assert_deploys([INCOPY], NOT_REGISTERED, f"failed: {INCOPY}\n", "saved to")
        # And one that lies.
        (self.package / "Tamsel").write_text(
            "#!/bin/sh\necho InsertProductInfo true; echo InsertXManConfig true")
        self.assert_deploys([INCOPY], NOT_REGISTERED, f"not registered: {INCOPY}\n", "missing")

    def test_a_copy_that_fails(self):
        self.copied.write_text("old")
        self.assert_deploys([INCOPY], NO_FILE, f"without XManConfigV2.xml: {INCOPY}\n",
                            "XManConfigV2.xml in the configuration folder is not the one",
                            options=["--read-only", CONFIGURATION + "/XManConfigV2.xml"])
        self.assert_verified(f"without XManConfigV2.xml: {INCOPY}\n", NO_FILE,
                             "XManConfigV2.xml in the configuration folder is not the one", [INCOPY])


class Verification(DeployTest):
    """Every value that Tamsel writes is looked at."""

    def setUp(self):
        super().setUp()
        self.add_applications(INDESIGN)
        self.deploy()
        self.before = self.database.read_bytes()

    def assert_notices(self, sql, what):
        with self.subTest(sql):
            self.change(sql)
            self.assert_verified(f"not registered: {INDESIGN}\n", NOT_REGISTERED,
                                 f"missing or different: {what}\n")
            self.database.write_bytes(self.before)

    def test_every_column_of_the_product(self):
        for column in ("ProdID", "ProdName", "DisplayName", "FamilyName", "ProdVersion", "PCDEntryName",
                       "AppPath", "LocaleInfo", "SuiteID"):
            self.assert_notices(f"UPDATE Tb_ProductInfoV2 SET {column} = 7777 WHERE ProdID = 190",
                                "the product's row")
        self.assert_notices("DELETE FROM Tb_ProductInfoV2 WHERE ProdID = 190", "the product's row")

    def test_every_key(self):
        keys = [key for key, in self.rows("SELECT KeyName FROM Tb_XManConfig WHERE ProdID = 190")]
        self.assertEqual(len(keys), 14)
        for key in keys:
            self.assert_notices(f"UPDATE Tb_XManConfig SET KeyValue = KeyValue || 'x' WHERE ProdID = 190"
                                f" AND KeyName = '{key}'", key)
            self.assert_notices(f"DELETE FROM Tb_XManConfig WHERE ProdID = 190 AND KeyName = '{key}'", key)

    def test_needs_no_root_and_no_quiet_manager(self):
        before = self.state()
        result = self.deploy("--verify", options=["--user", "501", *self.stand_in("exit 0", "pgrep")])
        self.assertEqual(result, (f"registered: {INDESIGN}\n".encode(), b"", ALL_DONE))
        self.assertEqual(self.state(), before)

    def test_somebodys_settings_of_sqlite_do_not_matter(self):
        (self.folder / ".sqliterc").write_text(".headers on\n.mode box\n")
        self.change("DELETE FROM Tb_ProductInfoV2")
        result = self.run_inside("env", f"HOME={self.folder}", self.package / "tamsel-deploy", "--verify",
                                 INDESIGN, options=["--user", "4242", "--bind", self.applications,
                                                    "/Applications"])
        self.assertRegex(result.err, rb"Z tamsel-deploy: .*: missing or different: the product's row\n\Z")

    def test_a_registration_of_another_folder(self):
        shutil.rmtree(self.applications / "Adobe InDesign 2020")
        self.add_applications("/Applications/Adobe InDesign 2020.app")
        self.assert_verified("not registered: /Applications/Adobe InDesign 2020.app\n", NOT_REGISTERED,
                             "missing or different: the product's row $installfolder\n")


class Usage(DeployTest):
    def test_help(self):
        result = self.deploy("--help")
        self.assertEqual((result.err, result.status), (b"", ALL_DONE))
        self.assertEqual(self.deploy("-h"), result)
        for status in range(11):
            self.assertRegex(result.out.decode(), rf"(?m)^  {status} +\w")
        self.assertIn("usage: tamsel-deploy [--dry-run] [APPLICATION...]\n", result.out.decode())

    def test_version(self):
        self.assert_deploys(["--version"], ALL_DONE, "tamsel-deploy 1.0.2\n")
