from harness.machine import CONFIGURATION, MachineTest, expected
from harness.registration import INDESIGN, TABLES, registered

UNOPENED = "ERROR: can't open database: unable to open database file"

INFO_ROWS = "SELECT COUNT(*) FROM Tb_ProductInfoV2 WHERE ProdID = 190"
CONFIGURATION_ROWS = "SELECT COUNT(*) FROM Tb_XManConfig WHERE ProdID = 190"


def uncompiled(reason):
    return f"ERROR: while compiling sql: {reason}\n\nFinalized statemant: 0"


def ended(code):
    return f"Return code after executing SQL: {code}\n\nFinalized statemant: {code}"


NO_PRODUCTS, NO_CONFIGURATION = (uncompiled(f"no such table: {table}") for table in TABLES)


class WithoutDatabase(MachineTest):
    """The presence test comes before everything else."""

    def assert_not_found(self):
        for arguments in ([], ["-h"], ["-x"], ["-r"], ["-r", INDESIGN], ["-x", INDESIGN],
                          ["-r", INDESIGN, "x"]):
            with self.subTest(arguments):
                result = self.run_tamsel(*arguments)
                self.assert_result(result, expected("database-not-found.out"), status=1)
        self.assertFalse((self.configuration / "XManConfigV2.xml").exists())

    def test_missing_database(self):
        self.database.unlink()
        self.assert_not_found()
        self.assertEqual(list(self.database.parent.iterdir()), [])

    def test_missing_folder(self):
        self.database.unlink()
        self.database.parent.rmdir()
        self.assert_not_found()
        self.assertEqual(list(self.configuration.iterdir()), [])

    def test_unreadable_database(self):
        before = self.database.read_bytes()
        self.database.chmod(0)
        self.assert_not_found()
        self.database.chmod(0o600)
        self.assertEqual(self.database.read_bytes(), before)

    def test_unreadable_folder(self):
        self.database.parent.chmod(0)
        self.addCleanup(self.database.parent.chmod, 0o700)
        self.assert_not_found()


class BadDatabases(MachineTest):
    """If the database cannot be written, the program says so, goes on and loses nothing."""

    def contents(self):
        """Every file beside the database, with its bytes."""
        return {file.name: file.read_bytes() for file in self.database.parent.iterdir()}

    def assert_says(self, info, configuration, **how):
        """How each of the two statements of a registration ends, None for success."""
        self.assert_result(self.run_tamsel("-r", INDESIGN, **how),
                           registered(info=info, configuration=configuration))

    def assert_fails(self, info, configuration=None, **how):
        """Both statements fail, in the same way if only one is given, and nothing changes."""
        before = self.contents()
        self.assert_says(info, configuration or info, **how)
        self.assertEqual(self.contents(), before)

    def test_a_folder_in_place_of_the_database(self):
        self.database.unlink()
        self.database.mkdir()
        self.assert_says(UNOPENED, UNOPENED)
        self.assertEqual(list(self.database.iterdir()), [])

    def test_a_file_that_is_no_database(self):
        self.database.write_bytes(b"")
        self.assert_fails(NO_PRODUCTS, NO_CONFIGURATION)
        self.database.write_bytes(b"This is no database, and longer than a header of one hundred bytes. " * 8)
        self.assert_fails(uncompiled("file is not a database"))

    def test_a_missing_table(self):
        self.change("DROP TABLE Tb_ProductInfoV2")
        self.assert_says(NO_PRODUCTS, None)
        self.assertEqual(self.rows(CONFIGURATION_ROWS), [(14,)])
        self.create_database(self.schema)
        self.change("DROP TABLE Tb_XManConfig")
        self.assert_says(None, NO_CONFIGURATION)
        self.assertEqual(self.rows(INFO_ROWS), [(1,)])

    def test_a_read_only_file_or_folder(self):
        self.assert_fails(ended(8), options=("--read-only", CONFIGURATION + "/DB"))
        self.database.chmod(0o400)
        self.assert_fails(ended(8))

    def test_another_program_uses_it(self):
        locked = expected("locked.out")
        exclusively = locked.replace(ended(5).encode(), uncompiled("database is locked").encode())
        for sql, out in (("BEGIN EXCLUSIVE", exclusively), ("BEGIN IMMEDIATE", locked),
                         ("BEGIN; SELECT * FROM Tb_ProductInfoV2;", locked)):
            with self.subTest(sql):
                # Reading the file while it is locked would give up the locks of this process.
                before = self.contents()
                other = self.connect()
                other.executescript(sql)
                self.assert_result(self.run_tamsel("-r", INDESIGN), out)
                other.close()
                self.assertEqual(self.contents(), before)

    def test_a_write_ahead_log(self):
        self.change("PRAGMA journal_mode = WAL")
        self.assert_says(None, None)
        self.assertEqual(self.rows(CONFIGURATION_ROWS), [(14,)])
        self.database.parent.chmod(0o500)
        self.addCleanup(self.database.parent.chmod, 0o700)
        self.assert_fails(uncompiled("attempt to write a readonly database"))

    def test_a_table_that_refuses_the_row(self):
        self.change("DROP TABLE Tb_ProductInfoV2;"
                    "CREATE TABLE Tb_ProductInfoV2 (ProdID, ProdName, DisplayName, FamilyName, ProdVersion,"
                    " PCDEntryName, AppPath, LocaleInfo, SuiteID CHECK (SuiteID > '9'))")
        self.assert_says(ended(19), None)

    def test_a_table_that_refuses_the_last_of_the_fourteen_rows_gets_none(self):
        self.change("DROP TABLE Tb_XManConfig;"
                    "CREATE TABLE Tb_XManConfig (ProdID, KeyName CHECK (KeyName <> 'suite'), KeyValue)")
        self.assert_says(None, ended(19))
        self.assertEqual(self.rows(CONFIGURATION_ROWS), [(0,)])
        self.assertEqual(self.rows(INFO_ROWS), [(1,)])
