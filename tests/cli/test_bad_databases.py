from harness.machine import CONFIGURATION, MachineTest, expected
from harness.registration import INDESIGN, registered

INFO_ROWS = "SELECT COUNT(*) FROM Tb_ProductInfoV2 WHERE ProdID = 190"
CONFIGURATION_ROWS = "SELECT COUNT(*) FROM Tb_XManConfig WHERE ProdID = 190"


class BadDatabases(MachineTest):
    """If the database cannot be written, the program says so, goes on and loses nothing."""

    def contents(self):
        """Every file beside the database, with its bytes."""
        return {file.name: file.read_bytes() for file in self.database.parent.iterdir()}

    def assert_registration(self, out, **how):
        self.assert_result(self.run_tamsel("-r", INDESIGN, **how), out)

    def assert_unchanged_by_registration(self, name, **how):
        before = self.contents()
        self.assert_registration(expected(name), **how)
        self.assertEqual(self.contents(), before)

    def test_a_folder_in_place_of_the_database(self):
        self.database.unlink()
        self.database.mkdir()
        self.assert_registration(expected("database-a-folder.out"))
        self.assertEqual(list(self.database.iterdir()), [])

    def test_a_file_that_is_no_database(self):
        self.database.write_bytes(b"")
        self.assert_unchanged_by_registration("database-empty.out")
        self.database.write_bytes(b"This is no database, and longer than a header of one hundred bytes. " * 8)
        self.assert_unchanged_by_registration("database-of-another-kind.out")

    def test_a_missing_table(self):
        self.change("DROP TABLE Tb_ProductInfoV2")
        self.assert_registration(expected("no-product-table.out"))
        self.assertEqual(self.rows(CONFIGURATION_ROWS), [(14,)])
        self.create_database(self.schema)
        self.change("DROP TABLE Tb_XManConfig")
        self.assert_registration(expected("no-configuration-table.out"))
        self.assertEqual(self.rows(INFO_ROWS), [(1,)])

    def test_a_read_only_file_or_folder(self):
        self.assert_unchanged_by_registration(
            "read-only.out", options=("--read-only", CONFIGURATION + "/DB"))
        self.database.chmod(0o400)
        self.assert_unchanged_by_registration("read-only.out")

    def test_another_program_uses_it(self):
        for sql, name in (("BEGIN EXCLUSIVE", "exclusively-locked.out"),
                          ("BEGIN; SELECT * FROM Tb_ProductInfoV2;", "locked.out"),
                          ("BEGIN IMMEDIATE", "locked.out")):
            with self.subTest(sql):
                # Reading the file while it is locked would give up the locks of this process.
                before = self.contents()
                other = self.connect()
                other.executescript(sql)
                self.assert_registration(expected(name))
                other.close()
                self.assertEqual(self.contents(), before)

    def test_a_write_ahead_log(self):
        self.change("PRAGMA journal_mode = WAL")
        self.assert_registration(registered())
        self.assertEqual(self.rows(CONFIGURATION_ROWS), [(14,)])
        self.database.parent.chmod(0o500)
        self.addCleanup(self.database.parent.chmod, 0o700)
        self.assert_unchanged_by_registration("read-only-write-ahead-log.out")

    def test_a_table_that_refuses_the_row(self):
        self.change("DROP TABLE Tb_ProductInfoV2;"
                    "CREATE TABLE Tb_ProductInfoV2 (ProdID, ProdName, DisplayName, FamilyName, ProdVersion,"
                    " PCDEntryName, AppPath, LocaleInfo, SuiteID CHECK (SuiteID > '9'))")
        self.assert_registration(expected("refused-product.out"))

    def test_a_table_that_refuses_the_last_of_the_fourteen_rows_gets_none(self):
        self.change("DROP TABLE Tb_XManConfig;"
                    "CREATE TABLE Tb_XManConfig (ProdID, KeyName CHECK (KeyName <> 'suite'), KeyValue)")
        self.assert_registration(expected("refused-configuration.out"))
        self.assertEqual(self.rows(CONFIGURATION_ROWS), [(0,)])
        self.assertEqual(self.rows(INFO_ROWS), [(1,)])
