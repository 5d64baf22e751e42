from harness.machine import CONFIGURATION, MachineTest, expected
from harness.registration import INDESIGN

REGISTER = ("-r", INDESIGN)


class BadDatabases(MachineTest):
    """If the database cannot be written, the program says so, goes on and loses nothing."""

    def run_registration(self, **how):
        return self.run_tamsel(*REGISTER, **how)

    def contents(self):
        """Every file beside the database, with its bytes."""
        return {file.name: file.read_bytes() for file in self.database.parent.iterdir()}

    def assert_unchanged_by_registration(self, name, **how):
        before = self.contents()
        self.assert_result(self.run_registration(**how), expected(name))
        self.assertEqual(self.contents(), before)

    def test_a_folder_in_place_of_the_database(self):
        self.database.unlink()
        self.database.mkdir()
        self.assert_result(self.run_registration(), expected("database-a-folder.out"))
        self.assertEqual(list(self.database.iterdir()), [])

    def test_an_empty_file(self):
        self.database.write_bytes(b"")
        self.assert_unchanged_by_registration("database-empty.out")

    def test_a_file_that_is_no_database(self):
        self.database.write_bytes(b"This is no database, and longer than a header of one hundred bytes. " * 8)
        self.assert_unchanged_by_registration("database-of-another-kind.out")

    def test_a_database_that_is_cut_off(self):
        self.database.write_bytes(self.database.read_bytes()[:5000])
        before = self.contents()
        result = self.run_registration()
        self.assertEqual(result.status, 0)
        self.assertIn(b"InsertProductInfo false\n\n", result.out)
        self.assertEqual(self.contents(), before)

    def test_no_table_of_products(self):
        self.change("DROP TABLE Tb_ProductInfoV2")
        self.assert_result(self.run_registration(), expected("no-product-table.out"))
        self.assertEqual(self.rows("SELECT COUNT(*) FROM Tb_XManConfig WHERE ProdID = 190"), [(14,)])

    def test_no_table_of_configurations(self):
        self.change("DROP TABLE Tb_XManConfig")
        self.assert_result(self.run_registration(), expected("no-configuration-table.out"))
        self.assertEqual(self.rows("SELECT COUNT(*) FROM Tb_ProductInfoV2 WHERE ProdID = 190"), [(1,)])

    def test_a_read_only_file(self):
        self.database.chmod(0o400)
        self.assert_unchanged_by_registration("read-only.out")

    def test_a_read_only_folder(self):
        self.assert_unchanged_by_registration(
            "read-only.out", options=("--read-only", CONFIGURATION + "/DB"))

    def test_another_program_holds_it_exclusively(self):
        self.assert_unchanged_while_another_program_has_done("BEGIN EXCLUSIVE", "exclusively-locked.out")

    def test_another_program_is_reading_it(self):
        self.assert_unchanged_while_another_program_has_done(
            "BEGIN; SELECT * FROM Tb_ProductInfoV2;", "locked.out")

    def test_another_program_is_about_to_write_it(self):
        self.assert_unchanged_while_another_program_has_done("BEGIN IMMEDIATE", "locked.out")

    def assert_unchanged_while_another_program_has_done(self, sql, name):
        # Reading the file here would give up the locks of this process.
        before = self.contents()
        other = self.connect()
        other.executescript(sql)
        self.assert_result(self.run_registration(), expected(name))
        other.close()
        self.assertEqual(self.contents(), before)

    def test_a_write_ahead_log_is_used(self):
        self.change("PRAGMA journal_mode = WAL")
        self.assert_result(self.run_registration(), expected("adobe-indesign-2020.out"))
        self.assertEqual(self.rows("SELECT COUNT(*) FROM Tb_XManConfig WHERE ProdID = 190"), [(14,)])

    def test_a_write_ahead_log_in_a_read_only_folder(self):
        self.change("PRAGMA journal_mode = WAL")
        self.database.parent.chmod(0o500)
        self.addCleanup(self.database.parent.chmod, 0o700)
        self.assert_unchanged_by_registration("read-only-write-ahead-log.out")

    def test_a_table_that_refuses_the_row(self):
        self.change("DROP TABLE Tb_ProductInfoV2;"
                    "CREATE TABLE Tb_ProductInfoV2 (ProdID, ProdName, DisplayName, FamilyName, ProdVersion,"
                    " PCDEntryName, AppPath, LocaleInfo, SuiteID CHECK (SuiteID > '9'))")
        self.assert_result(self.run_registration(), expected("refused-product.out"))

    def test_a_table_that_refuses_the_last_of_the_fourteen_rows_gets_none(self):
        self.change("DROP TABLE Tb_XManConfig;"
                    "CREATE TABLE Tb_XManConfig (ProdID, KeyName CHECK (KeyName <> 'suite'), KeyValue)")
        self.assert_result(self.run_registration(), expected("refused-configuration.out"))
        self.assertEqual(self.rows("SELECT COUNT(*) FROM Tb_XManConfig"), [(0,)])
        self.assertEqual(self.rows("SELECT COUNT(*) FROM Tb_ProductInfoV2 WHERE ProdID = 190"), [(1,)])
