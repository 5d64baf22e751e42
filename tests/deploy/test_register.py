"""What a registration writes, what it keeps, and when there is nothing to do."""

import os
import shutil
import stat

from harness.deploy import (ALL_DONE, APPLICATIONS, FAILED, INCOPY, INDESIGN, NOT_REGISTERED, NO_FILE,
                            OLD_FILE, REGISTERED, DeployTest)
from harness.machine import CONFIGURATION, DATABASE
from harness.registration import TABLES

WOULD = f"would register: {INDESIGN}\n"


class Rows(DeployTest):
    def test_all_eight_products_get_the_rows_of_tamsel(self):
        """By default in a folder of their own name or alone, in the order of their names."""
        paths = [f"/Applications/{name}/{name}.app" for name in APPLICATIONS[:4]]
        paths += [f"/Applications/{name}.app" for name in APPLICATIONS[4:]]
        paths.sort(key=lambda path: os.path.basename(path)[:-len(".app")])
        self.add_applications(*paths, "/Applications/Adobe Photoshop 2020/Adobe Photoshop 2020.app")
        before = self.dump()
        for path in paths:
            self.run_tamsel("-r", path)
        written = {table: [row[1:] for row in rows] for table, rows in self.dump()[1].items()}
        self.assertEqual([len(written[table]) for table in TABLES], [2 + 8, 4 + 8 * 14])
        self.create_database(self.schema)
        self.copied.unlink()
        self.assert_verified("".join(f"not registered: {path}\n" for path in paths), NOT_REGISTERED)
        out = "".join(f"would register: {path}\n" for path in paths)
        self.assert_unchanged(["--dry-run"], ALL_DONE, out=out)
        out = "".join(f"registered: {path}\n" for path in paths)
        self.assert_deploys([], ALL_DONE, out)
        self.assertEqual({table: sorted((row[1:] for row in rows), key=repr)
                          for table, rows in self.dump()[1].items()},
                         {table: sorted(rows, key=repr) for table, rows in written.items()})
        # Rows of others are still there, with their row numbers.
        for table in TABLES:
            self.assertLess(set(before[1][table]), set(self.dump()[1][table]))
        self.assert_verified(out)
        backup, = self.all_backups()
        self.assertEqual((backup / "note").read_text(), "before registering " + ", ".join(paths) + "\n")

    def test_the_default_leaves_out_a_second_copy_and_what_is_no_application(self):
        second = "/Applications/Adobe InDesign 2020.app"
        self.add_applications(INDESIGN, second, INCOPY)
        (self.inside(INCOPY) / "Contents" / "Info.plist").unlink()
        self.assert_unchanged(["--dry-run"], ALL_DONE, f"left out: {second}, since there is {INDESIGN}\n",
                              out=WOULD)
        self.deploy_once()
        shutil.rmtree(self.inside(INDESIGN) / "Contents")
        self.assert_verified(f"not registered: {second}\n", NOT_REGISTERED,
                             f'{second}: AppPath is "/Applications/Adobe InDesign 2020" instead of "/Applica',
                             '; $installfolder is "/Applications/Adobe InDesign 2020" instead of')
        result = self.assert_deploys([], ALL_DONE, f"registered: {second}\n")
        self.assertNotIn(b"left out", result.err)

    def test_a_folder_of_any_bytes_is_registered_exactly(self):
        for name in (b"it's", b"''", b'a"b', b"a\nb", b"a\\b", b"$(x) `y`", b"%s;*?", b"-r", b"'); --",
                     "ü☃".encode(), b"\xff\xfe", b"\x01\x7f"):
            with self.subTest(name):
                folder = os.fsencode(self.folder) + b"/" + name
                os.makedirs(folder + b"/Adobe InDesign 2020.app/Contents")
                with open(folder + b"/Adobe InDesign 2020.app/Contents/Info.plist", "wb"):
                    pass
                path = folder + b"/Adobe InDesign 2020.app"
                for arguments in ([path], ["--verify", path]):
                    self.assertEqual(self.deploy(*arguments).status, ALL_DONE)
                self.assertEqual(self.rows(
                    "SELECT CAST(AppPath AS BLOB) FROM Tb_ProductInfoV2 WHERE ProdID = 190 UNION ALL SELECT"
                    " CAST(KeyValue AS BLOB) FROM Tb_XManConfig"
                    " WHERE ProdID = 190 AND KeyName = '$installfolder'"),
                    [(folder,)] * 2)

    def test_only_what_is_missing_is_written(self):
        """Columns that nobody knows keep their values, in all rows that are right."""
        self.create_database("extra-columns")
        self.add_applications(INDESIGN, INCOPY)
        self.deploy_once()
        self.change("UPDATE Tb_ProductInfoV2 SET Installed = 7; UPDATE Tb_XManConfig SET Origin = 'mine';"
                    "DELETE FROM Tb_XManConfig WHERE ProdID = 190 AND KeyName = 'bit';"
                    "UPDATE Tb_XManConfig SET KeyValue = 'x' WHERE ProdID = 190 AND KeyName = 'suite'")
        before = self.dump()[1]
        self.assert_deploys([], ALL_DONE, f"registered: {INCOPY}\n" + REGISTERED)
        self.assertEqual(self.rows("SELECT KeyName, KeyValue, Origin FROM Tb_XManConfig WHERE ProdID = 190"
                                   " AND Origin <> 'mine' ORDER BY KeyName"),
                         [("bit", "64", "vendor"), ("suite", "CC", "vendor")])
        self.assertEqual(self.rows("SELECT Installed FROM Tb_ProductInfoV2 WHERE ProdID = 190"), [(7,)])
        after = self.dump()[1]
        for table in TABLES:
            lost = set(before[table]) - set(after[table])
            self.assertEqual([row[1] for row in lost], ["x"] if table == "Tb_XManConfig" else [])

    def test_tables_of_other_kinds(self):
        self.add_applications(INDESIGN)
        for schema, mode in (("unique-index", "delete"), ("without-keys", "delete"), ("primary-keys", "wal")):
            with self.subTest(schema):
                self.create_database(schema)
                self.rows(f"PRAGMA journal_mode = {mode}")
                self.deploy_once()
                self.assertEqual(self.rows("PRAGMA journal_mode"), [(mode,)])
                self.assert_deploys(["--verify"], ALL_DONE, REGISTERED)

    def test_nothing_is_left_lying_about(self):
        self.add_applications(INDESIGN)
        self.own.mkdir(parents=True)
        self.backups.mkdir()
        theirs = self.folder / "theirs"
        theirs.write_bytes(b"theirs")
        # What a killed run can leave goes; a link among it is not followed.
        (self.backups / ".incomplete").mkdir()
        (self.backups / ".incomplete" / "ExMan.db").symlink_to(theirs)
        for path in (self.configuration / ".XManConfigV2.xml.tamsel-new",
                     self.configuration / ".XManConfigV2.xml.tamsel-old"):
            path.symlink_to(theirs)
        (self.database.parent / ".ExMan.db.tamsel-new").write_bytes(b"x")
        self.deploy_once("--replace-file")
        self.assertEqual(theirs.read_bytes(), b"theirs")
        names = {path.name: sorted(inside.name for inside in path.iterdir())
                 for path in (self.own, self.configuration, self.database.parent)}
        self.assertEqual(names, {"Tamsel": ["Backups", "lock"], "Configuration": ["DB", "XManConfigV2.xml"],
                                 "DB": ["ExMan.db"]})
        self.assertEqual(list(self.backups.iterdir()), self.all_backups())
        modes = [stat.S_IMODE(path.stat().st_mode) for path in (self.own, self.backups, self.own / "lock")]
        self.assertEqual(modes, [0o755, 0o700, 0o600])


class NothingToDo(DeployTest):
    present = (INDESIGN,)

    def setUp(self):
        super().setUp()
        self.deploy_once()
        shutil.rmtree(self.own)

    def test_leaves_no_backup_and_takes_no_lock(self):
        for content in (None, "in the way"):
            if content:
                self.own.write_text(content)
            before = self.state()
            for arguments in ([], ["--dry-run"], ["--replace-file"], [INDESIGN, "--verify"]):
                with self.subTest(arguments, content=content):
                    self.assert_unchanged(arguments, ALL_DONE, out=REGISTERED)
            self.assertEqual(self.state(), before)

    def test_works_on_a_read_only_volume(self):
        for arguments in ([], ["--dry-run"], ["--verify"]):
            for path in (DATABASE, CONFIGURATION):
                with self.subTest(arguments, path=path):
                    self.assert_unchanged(arguments, ALL_DONE, out=REGISTERED, options=["--read-only", path])

    def test_a_write_ahead_log_cannot_be_read_there(self):
        self.change("PRAGMA journal_mode = WAL")
        for arguments in ([], ["--dry-run"], ["--verify"]):
            with self.subTest(arguments):
                self.assert_unchanged(arguments, NOT_REGISTERED, f"{DATABASE}: unable to open database file",
                                      out=FAILED, options=["--read-only", CONFIGURATION])


class File(DeployTest):
    """An installed XManConfigV2.xml is the vendor's; the one that comes with Tamsel fills a gap."""

    present = (INDESIGN,)

    def test_an_installed_one_is_kept(self):
        self.copied.write_bytes(OLD_FILE)
        before = self.copied.stat()
        self.deploy_once()
        after = self.copied.stat()
        self.assertEqual((self.copied.read_bytes(), after.st_ino, after.st_mtime_ns),
                         (OLD_FILE, before.st_ino, before.st_mtime_ns))
        self.assert_verified(REGISTERED)

    def test_a_gap_is_filled(self):
        for arguments in ([], ["--replace-file"]):
            with self.subTest(arguments):
                self.deploy_once(*arguments, before=["sh", "-c", 'umask 077; exec "$@"', "sh"])
                self.assertEqual(self.copied.read_bytes(), self.shipped.read_bytes())
                modes = [stat.S_IMODE(path.stat().st_mode) for path in (self.copied, self.own)]
                self.assertEqual(modes, [0o644, 0o755])
                content = self.dump()
                self.copied.unlink()
                self.assert_verified(f"without XManConfigV2.xml: {INDESIGN}\n", NO_FILE,
                                     f"{INDESIGN}: {CONFIGURATION}/XManConfigV2.xml is missing\n")
                self.assert_unchanged(["--dry-run"], ALL_DONE, out=WOULD)
        self.deploy_once()
        self.assertEqual((self.copied.read_bytes(), self.dump()), (self.shipped.read_bytes(), content))

    def test_an_installed_one_is_replaced_where_that_is_asked_for(self):
        self.deploy_once()
        self.copied.write_bytes(self.shipped.read_bytes()[:-1] + b"x")
        self.copied.chmod(0o640)
        os.link(self.copied, self.folder / "another name")
        old = self.copied.read_bytes()
        self.assert_verified(REGISTERED)
        self.assert_unchanged(["--dry-run"], ALL_DONE, out=REGISTERED)
        self.assert_verified(f"another XManConfigV2.xml: {INDESIGN}\n", NO_FILE,
                             f"{CONFIGURATION}/XManConfigV2.xml is not the one that comes with Tamsel\n",
                             arguments=["--replace-file"])
        self.assert_unchanged(["--dry-run", "--replace-file"], ALL_DONE, out=WOULD)
        backup = self.deploy_once("--replace-file")
        self.assertEqual(self.copied.read_bytes(), self.shipped.read_bytes())
        self.assertEqual((backup / "XManConfigV2.xml").read_bytes(), old)
        self.assertEqual((self.folder / "another name").read_bytes(), old)
        self.assertEqual(stat.S_IMODE(self.copied.stat().st_mode), 0o640)
        self.assert_verified(REGISTERED, arguments=["--replace-file"])

    def test_what_is_no_plain_file_stops_a_registration(self):
        for make in (self.copied.mkdir, lambda: self.copied.symlink_to(self.folder / "nothing"),
                     lambda: os.mkfifo(self.copied)):
            make()
            for arguments in ([], ["--dry-run"], ["--replace-file"], ["--verify"]):
                with self.subTest(arguments):
                    self.assert_unchanged(arguments, NO_FILE, "/XManConfigV2.xml is not a plain file",
                                          out=FAILED)
            (self.copied.rmdir if self.copied.is_dir() else self.copied.unlink)()

    def test_a_folder_that_cannot_be_written(self):
        self.configuration.chmod(0o555)
        self.addCleanup(self.configuration.chmod, 0o755)
        for arguments in ([], ["--dry-run"]):
            self.assert_unchanged(arguments, NO_FILE, "XManConfigV2.xml cannot be put in place: ", out=FAILED)

    def test_links_above_are_followed(self):
        self.copied.write_bytes(OLD_FILE)
        for path in (self.database.parent, self.configuration):
            away = self.folder / ("away" + path.name)
            shutil.move(path, away)
            path.symlink_to(away)
        content = self.dump()
        self.deploy_once("--replace-file")
        self.assertEqual(self.copied.read_bytes(), self.shipped.read_bytes())
        self.assert_deploys(["--restore", "1"], ALL_DONE, f"restored: {self.all_backups()[0].name}\n")
        self.assertEqual((self.dump(), self.copied.read_bytes()), (content, OLD_FILE))
        self.assertTrue(self.configuration.is_symlink() and self.database.parent.is_symlink())
