import os
import shutil
import stat

from harness.deploy import (ALL_DONE, APPLICATIONS, CLOSED, INCOPY, INDESIGN, NOT_REGISTERED, NO_APPLICATION,
                            NO_FILE, OLD_FILE, DeployTest)
from harness.machine import expected

WIN64 = "/Applications/Adobe InDesign 2020 Win64.app"


class Registration(DeployTest):
    def test_every_supported_application_in_the_applications_folder(self):
        self.add_applications(*(f"/Applications/{name}/{name}.app" for name in APPLICATIONS[:4]),
                              *(f"/Applications/{name}.app" for name in APPLICATIONS[3:]),
                              "/Applications/Adobe Photoshop 2020/Adobe Photoshop 2020.app")
        paths = [f"/Applications/{name}/{name}.app" for name in APPLICATIONS[:4]]
        paths += [f"/Applications/{name}.app" for name in APPLICATIONS[4:]]
        self.assert_verified("".join(f"not registered: {path}\n" for path in paths), NOT_REGISTERED,
                             f"{paths[0]}: missing or different: the product's row $iconpath $incopy ")
        self.assert_refuses(["--dry-run"], ALL_DONE,
                            out="".join(f"would register: {path}\n" for path in paths))
        registered = "".join(f"registered: {path}\n" for path in paths)
        self.assert_deploys([], ALL_DONE, registered)
        self.assert_verified(registered)
        self.assertEqual(self.rows("SELECT ProdID FROM Tb_ProductInfoV2 ORDER BY ProdID"),
                         [(number,) for number in (12, 155, 156, 158, 159, 186, 187, 189, 190, 1860)])

    def test_a_default_application_needs_what_makes_it_one(self):
        self.add_applications(INDESIGN, "/Applications/Adobe InDesign 2020.app", INCOPY)
        shutil.rmtree(self.inside(INDESIGN) / "Contents")
        (self.inside(INCOPY) / "Contents" / "Info.plist").unlink()
        self.assert_refuses(["--dry-run"], ALL_DONE,
                            out="would register: /Applications/Adobe InDesign 2020.app\n")
        shutil.rmtree(self.inside("/Applications/Adobe InDesign 2020.app"))
        self.assert_refuses(["--dry-run"], NO_APPLICATION)

    def test_given_applications(self):
        elsewhere = str(self.folder / "my %s $(apps)" / "Adobe InCopy 2020.app")
        self.add_applications(INDESIGN, INCOPY, elsewhere)
        both = f"registered: {INDESIGN}\nregistered: {elsewhere}\n"
        self.assert_deploys([INDESIGN, elsewhere], ALL_DONE, both)
        self.assert_verified(both, arguments=[INDESIGN, elsewhere])
        self.assert_verified(f"not registered: {INCOPY}\n", NOT_REGISTERED, "bit", arguments=[INCOPY])

    def test_what_arrives(self):
        self.add_applications(INDESIGN)
        self.deploy_once()
        rows = [line.split("|") for line in expected("adobe-indesign-2020.rows").decode().splitlines()]
        found = self.rows("SELECT * FROM Tb_ProductInfoV2 WHERE ProdID = 190") + self.rows(
            "SELECT * FROM Tb_XManConfig WHERE ProdID = 190 ORDER BY rowid")
        self.assertEqual([[str(value) for value in row] for row in found], rows)
        self.assertEqual(self.copied.read_bytes(), self.shipped.read_bytes())
        self.assertEqual(stat.S_IMODE(self.copied.stat().st_mode), 0o644)

    def test_rows_of_others_stay_as_they_are(self):
        self.add_applications(INDESIGN)
        before = self.dump()[1]
        self.deploy_once()
        for table, rows in self.dump()[1].items():
            self.assertEqual([row for row in rows if row[1] != 190], before[table])

    def test_nothing_is_left_lying_about(self):
        self.add_applications(INDESIGN)
        self.deploy_once()
        self.assertEqual(sorted(path.name for path in self.own.iterdir()), ["Backups", "lock"])
        self.assertEqual(sorted(path.name for path in self.configuration.iterdir()),
                         ["DB", "XManConfigV2.xml"])
        self.assertEqual([path.name for path in self.database.parent.iterdir()], ["ExMan.db"])
        modes = [stat.S_IMODE(path.stat().st_mode) for path in (self.backups, self.own / "lock")]
        self.assertEqual(modes, [0o700, 0o600])

    def test_what_is_registered_is_left_alone(self):
        self.add_applications(INDESIGN)
        self.deploy_once()
        before = self.state()
        for arguments in ([], ["--dry-run"], [INDESIGN], ["--replace-file"], ["--verify", INDESIGN]):
            self.assert_deploys(arguments, ALL_DONE, f"registered: {INDESIGN}\n")
            self.assertEqual(self.state(), before)
        for undo in (lambda: self.change("DELETE FROM Tb_XManConfig WHERE KeyName = 'suite'"),
                     self.copied.unlink):
            undo()
            self.assert_refuses(["--dry-run"], ALL_DONE, out="would register: " + INDESIGN + "\n")
            self.deploy_once()

    def test_what_is_missing_is_added_to_what_is_there(self):
        self.add_applications(INDESIGN, INCOPY)
        self.deploy_once()
        before = self.dump()[1]
        self.assert_deploys([], ALL_DONE, f"registered: {INCOPY}\nregistered: {INDESIGN}\n")
        for table, rows in before.items():
            self.assertEqual([row for row in self.dump()[1][table] if row[1] != 156], rows)

    def test_a_product_that_has_moved(self):
        self.add_applications(INDESIGN)
        self.deploy_once()
        shutil.rmtree(self.applications / "Adobe InDesign 2020")
        self.add_applications("/Applications/Adobe InDesign 2020.app")
        self.assert_deploys([], ALL_DONE, "registered: /Applications/Adobe InDesign 2020.app\n")
        self.assertEqual(self.rows("SELECT AppPath FROM Tb_ProductInfoV2 WHERE ProdID = 190"),
                         [("/Applications",)])

    def test_two_products_that_share_a_folder(self):
        self.add_applications("/Applications/Adobe InDesign 2020.app", WIN64)
        paths = "/Applications/Adobe InDesign 2020.app", WIN64
        self.assert_deploys(paths, ALL_DONE, "".join(f"registered: {path}\n" for path in paths))
        self.assertEqual([self.note(backup)[1] for backup in self.all_backups()], [list(paths)])
        self.assertEqual([self.note(backup)[0] for backup in self.all_backups()], [CLOSED])

    def test_tables_of_other_kinds(self):
        self.add_applications(INDESIGN)
        for schema in ("unique-index", "without-keys", "extra-columns"):
            self.create_database(schema)
            self.assert_deploys([], ALL_DONE, f"registered: {INDESIGN}\n")
            self.assert_verified(f"registered: {INDESIGN}\n")

    def test_a_database_in_write_ahead_mode(self):
        self.change("PRAGMA journal_mode = WAL")
        self.add_applications(INDESIGN)
        self.deploy_once()
        self.assert_deploys(["--verify"], ALL_DONE, f"registered: {INDESIGN}\n")
        self.assertEqual(self.rows("PRAGMA journal_mode"), [("wal",)])


class File(DeployTest):
    """An installed XManConfigV2.xml is the vendor's; the one that comes with Tamsel fills a gap."""

    def setUp(self):
        super().setUp()
        self.add_applications(INDESIGN)

    def test_an_installed_one_is_kept(self):
        self.copied.write_bytes(OLD_FILE)
        self.copied.chmod(0o640)
        before = self.copied.stat()
        self.deploy_once()
        self.assertEqual(self.copied.read_bytes(), OLD_FILE)
        after = self.copied.stat()
        self.assertEqual((after.st_ino, after.st_mtime_ns, after.st_mode, after.st_nlink),
                         (before.st_ino, before.st_mtime_ns, before.st_mode, 1))
        self.assert_verified(f"registered: {INDESIGN}\n")

    def test_a_gap_is_filled(self):
        for arguments in ([], ["--replace-file"]):
            self.deploy_once(*arguments)
            self.assertEqual(self.copied.read_bytes(), self.shipped.read_bytes())
            self.copied.unlink()
            self.assert_verified(f"without XManConfigV2.xml: {INDESIGN}\n", NO_FILE, "XManConfigV2.xml")
            self.assert_refuses(["--dry-run"], ALL_DONE, out=f"would register: {INDESIGN}\n")

    def test_an_installed_one_is_replaced_where_that_is_asked_for(self):
        self.copied.write_bytes(OLD_FILE)
        backup = self.deploy_once("--replace-file")
        self.assertEqual(self.copied.read_bytes(), self.shipped.read_bytes())
        self.assertEqual((backup / "XManConfigV2.xml").read_bytes(), OLD_FILE)
        self.assert_verified(f"registered: {INDESIGN}\n", arguments=["--replace-file"])

    def test_verifying_judges_by_the_same_rule(self):
        self.deploy_once()
        self.copied.write_bytes(OLD_FILE)
        self.assert_verified(f"registered: {INDESIGN}\n")
        self.assert_verified(f"without XManConfigV2.xml: {INDESIGN}\n", NO_FILE, "XManConfigV2.xml",
                             arguments=["--replace-file"])
        self.assert_refuses(["--dry-run"], ALL_DONE, out=f"registered: {INDESIGN}\n")
        self.assert_refuses(["--dry-run", "--replace-file"], ALL_DONE, out=f"would register: {INDESIGN}\n")

    def test_one_whose_bytes_differ_at_the_end_alone(self):
        self.deploy_once()
        shipped = self.shipped.read_bytes()
        for content in (shipped[:-1], shipped + b"\n", b"", shipped[:-1] + b"\r"):
            self.copied.write_bytes(content)
            self.assert_verified(f"without XManConfigV2.xml: {INDESIGN}\n", NO_FILE,
                                 arguments=["--replace-file"])

    def test_it_is_a_file_of_its_own(self):
        """Another name of the installed file, and of the one beside the program, are left alone."""
        self.copied.write_bytes(OLD_FILE)
        other = self.folder / "another name"
        os.link(self.copied, other)
        self.deploy_once("--replace-file")
        self.assertEqual(other.read_bytes(), OLD_FILE)
        self.assertEqual(self.copied.stat().st_nlink, 1)
        self.assertNotEqual(self.copied.stat().st_ino,
                            (self.package / "Resources" / "XManConfigV2.xml").stat().st_ino)

    def test_that_alone_is_registered_anew(self):
        self.deploy_once()
        content = self.dump()
        self.copied.unlink()
        self.deploy_once()
        self.assertEqual(self.copied.read_bytes(), self.shipped.read_bytes())
        for table, rows in self.dump()[1].items():
            self.assertEqual({row[1:] for row in rows}, {row[1:] for row in content[1][table]})
