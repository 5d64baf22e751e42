from harness.deploy import (ALL_DONE, CLOSED, INCOPY, INDESIGN, NO_FILE, NOT_REGISTERED, OLD_FILE, DeployTest)
from harness.machine import CONFIGURATION

FAILED = f"failed: {INDESIGN}\n"
NOT_THERE = f"not registered: {INDESIGN}\n"
SAYS_TRUE = "echo InsertProductInfo true; echo; echo InsertXManConfig true"


class PutBackTest(DeployTest):
    def setUp(self):
        super().setUp()
        self.add_applications(INDESIGN)

    def assert_fails(self, out, *log, arguments=(INDESIGN,), **how):
        """The registration fails, database and file are what they were, and its backup is marked as
        finished."""
        self.assert_puts_back([*arguments, "--wait", "0"], NOT_REGISTERED, out, *log, **how)
        self.assertEqual(self.note(self.all_backups()[-1]), (CLOSED, [INDESIGN]))


class Refused(PutBackTest):
    """The database does not take what Tamsel writes."""

    def test_each_statement_by_itself(self):
        for table in ("Tb_ProductInfoV2", "Tb_XManConfig"):
            self.change(f"CREATE TRIGGER Refuse BEFORE INSERT ON {table}"
                        " BEGIN SELECT RAISE(ABORT, 'refused'); END")
            self.assert_fails(FAILED, "Tamsel: Return code after executing SQL: 19\n")
            self.change("DROP TRIGGER Refuse")

    def test_rows_that_do_not_stay(self):
        self.change("CREATE TRIGGER Forget AFTER INSERT ON Tb_XManConfig WHEN NEW.KeyName = 'suite'"
                    " BEGIN DELETE FROM Tb_XManConfig WHERE KeyName = 'suite' AND ProdID = 190; END")
        self.assert_fails(NOT_THERE, "missing or different: suite\n")

    def test_rows_that_become_others(self):
        self.change("CREATE TRIGGER Spoil AFTER INSERT ON Tb_XManConfig WHEN NEW.KeyName = 'bit'"
                    " BEGIN UPDATE Tb_XManConfig SET KeyValue = '32' WHERE KeyName = 'bit'"
                    " AND ProdID = 190; END")
        self.assert_fails(NOT_THERE, "missing or different: bit\n")

    def test_triggers_do_not_fire_when_rows_are_put_back(self):
        self.change("CREATE TABLE Journal (Word TEXT);"
                    "CREATE TRIGGER OnDelete AFTER DELETE ON Tb_XManConfig"
                    " BEGIN INSERT INTO Journal VALUES ('deleted'); END;"
                    "CREATE TRIGGER OnInsert AFTER INSERT ON Tb_ProductInfoV2"
                    " BEGIN SELECT RAISE(ABORT, 'refused'); END;"
                    "INSERT INTO Tb_XManConfig VALUES (190, 'bit', 'old'), (190, 'mine', 'kept')")
        self.assert_fails(FAILED)
        self.assertEqual(self.rows("SELECT * FROM Journal"), [])

    def test_a_trigger_that_would_stop_the_putting_back(self):
        self.change("CREATE TRIGGER Keep BEFORE DELETE ON Tb_XManConfig"
                    " BEGIN SELECT RAISE(ABORT, 'kept'); END;"
                    "CREATE TRIGGER Forget AFTER INSERT ON Tb_ProductInfoV2"
                    " BEGIN UPDATE Tb_ProductInfoV2 SET ProdName = 'x' WHERE ProdID = 190; END")
        self.assert_fails(NOT_THERE, "missing or different: the product's row\n")

    def test_what_was_there_of_the_product(self):
        self.change("INSERT INTO Tb_ProductInfoV2 VALUES (190, 'Old', NULL, x'00ff', 1.5, '', '/old', 7, 1);"
                    "INSERT INTO Tb_XManConfig VALUES (190, 'bit', NULL), (190, 'mine', x'0102'),"
                    " (190, 'suite', 'CS')")
        self.change("CREATE TRIGGER Forget AFTER INSERT ON Tb_XManConfig WHEN NEW.KeyName = 'suite' BEGIN"
                    " UPDATE Tb_XManConfig SET KeyValue = '' WHERE KeyName = 'suite' AND ProdID = 190; END")
        self.assert_fails(NOT_THERE, "missing or different: suite\n")

    def test_the_others_go_on(self):
        self.add_applications(INCOPY)
        self.change("CREATE TRIGGER Refuse BEFORE INSERT ON Tb_XManConfig WHEN NEW.ProdID = 190"
                    " BEGIN SELECT RAISE(ABORT, 'refused'); END")
        self.assert_deploys([INDESIGN, INCOPY], NOT_REGISTERED, f"{FAILED}registered: {INCOPY}\n")
        self.assertEqual(self.rows("SELECT COUNT(*) FROM Tb_XManConfig GROUP BY ProdID ORDER BY ProdID"),
                         [(3,), (14,), (1,)])
        self.assertEqual(self.rows("SELECT ProdID FROM Tb_ProductInfoV2 ORDER BY ProdID"),
                         [(12,), (156,), (1860,)])
        self.assertEqual(self.copied.read_bytes(), self.shipped.read_bytes())


class File(PutBackTest):
    """XManConfigV2.xml comes and goes with the rows."""

    def setUp(self):
        super().setUp()
        self.change("CREATE TRIGGER Refuse BEFORE INSERT ON Tb_XManConfig"
                    " BEGIN SELECT RAISE(ABORT, 'refused'); END")

    def test_one_that_was_not_there_goes(self):
        self.assert_fails(FAILED)
        self.assertFalse(self.copied.exists())

    def test_one_that_was_replaced_comes_back_itself(self):
        self.copied.write_bytes(OLD_FILE)
        self.copied.chmod(0o604)
        before = self.copied.stat()
        self.assert_fails(FAILED, arguments=[INDESIGN, "--replace-file"])
        after = self.copied.stat()
        self.assertEqual((after.st_ino, after.st_mtime_ns, after.st_nlink),
                         (before.st_ino, before.st_mtime_ns, 1))

    def test_one_that_is_kept_is_not_touched(self):
        self.copied.write_bytes(OLD_FILE)
        self.assert_fails(FAILED)


class Tamsel(PutBackTest):
    """Tamsel is judged by what it says, how it ends, and what it leaves."""

    def assert_tamsel_fails(self, script, out, *log):
        with self.subTest(script):
            self.replace_tamsel(script)
            self.assert_fails(out, *log)

    def test_one_that_says_nothing_or_breaks_down(self):
        for script in ("exit 0", SAYS_TRUE + "; exit 1", "exit 139", "kill -SEGV $$", "kill -KILL $$",
                       "echo InsertProductInfo true; echo InsertXManConfig truer",
                       "echo InsertProductInfo true; echo xInsertXManConfig true",
                       "echo InsertProductInfo true", "echo InsertXManConfig true"):
            self.assert_tamsel_fails(script, FAILED)

    def test_one_that_lies(self):
        self.assert_tamsel_fails(SAYS_TRUE, NOT_THERE, "missing or different: the product's row $iconpath")

    def test_one_that_registers_and_breaks_down(self):
        self.assert_tamsel_fails('tamsel "$@"; exit 1', FAILED)
        self.assert_tamsel_fails('tamsel "$@"; kill -KILL $$', FAILED)
        self.assert_tamsel_fails('tamsel "$@" >/dev/null', FAILED)

    def test_one_that_says_that_it_failed(self):
        self.assert_tamsel_fails("echo ERROR: no; echo; echo InsertProductInfo false", FAILED,
                                 "Tamsel: ERROR: no\n", "Tamsel: InsertProductInfo false\n")

    def test_what_it_says_is_escaped_in_the_log(self):
        self.assert_tamsel_fails(r"printf 'one\ttwo\033[31m\\ \377\r\nthree\n\nlast'; echo four >&2", FAILED,
                                 "Tamsel: one\\x09two\\x1B[31m\\\\ \\xFF\\x0D\n", "Tamsel: three\n",
                                 "Tamsel: last", "four")

    def test_one_that_says_very_much(self):
        much = "head -c 1000000 /dev/zero | tr '\\0' x; echo"
        self.assert_tamsel_fails(much, FAILED)
        self.replace_tamsel(much + '; tamsel "$@"')
        self.assert_deploys([INDESIGN], ALL_DONE, FAILED.replace("failed", "registered"))

    def test_one_that_removes_the_file(self):
        self.copied.write_bytes(OLD_FILE)
        self.replace_tamsel(f'tamsel "$@"; rm "{CONFIGURATION}/XManConfigV2.xml"')
        self.assert_puts_back([INDESIGN], NO_FILE, f"without XManConfigV2.xml: {INDESIGN}\n")


class Displaced(PutBackTest):
    """Rows that are not the product's own, and tables that are not the usual ones."""

    refuse = ("CREATE TRIGGER Refuse BEFORE INSERT ON Tb_XManConfig WHEN NEW.KeyName = 'suite'"
              " BEGIN SELECT RAISE(ABORT, 'refused'); END")

    def assert_put_back_in(self, *statements, second=NOT_THERE):
        for table in ("Tb_XManConfig", "Tb_ProductInfoV2"):
            self.change(f"DROP TABLE IF EXISTS {table}")
        self.change(";".join(statements))
        self.change("INSERT INTO Tb_XManConfig (ProdID, KeyName, KeyValue) VALUES (12, 'bit', '32'),"
                    " (190, 'suite', 'CS'), (190, 'mine', 'kept')")
        self.change(self.refuse)
        self.assert_fails(FAILED)
        self.change("DROP TRIGGER Refuse; CREATE TRIGGER Forget AFTER INSERT ON Tb_XManConfig"
                    " WHEN NEW.KeyName = 'suite' BEGIN DELETE FROM Tb_XManConfig WHERE KeyName = 'bit'"
                    " AND ProdID = 190; END")
        self.assert_fails(second)

    PRODUCTS = ("CREATE TABLE Tb_ProductInfoV2 (ProdID INTEGER PRIMARY KEY, ProdName TEXT, DisplayName TEXT,"
                " FamilyName TEXT, ProdVersion TEXT, PCDEntryName TEXT, AppPath TEXT, LocaleInfo TEXT,"
                " SuiteID INTEGER)")
    KEYS = "CREATE TABLE Tb_XManConfig (ProdID INTEGER, KeyName TEXT, KeyValue TEXT"

    def test_a_row_of_another_product_in_the_way(self):
        """A unique index on another column: the new row takes the place of another product's."""
        self.assert_put_back_in(
            self.PRODUCTS, "CREATE UNIQUE INDEX Ix_Entry ON Tb_ProductInfoV2 (PCDEntryName)",
            "INSERT INTO Tb_ProductInfoV2 (ProdID, PCDEntryName) VALUES (4711, 'indesign-15.064')",
            self.KEYS + ", PRIMARY KEY (ProdID, KeyName))", second=FAILED)

    def test_a_value_of_another_product_in_the_way(self):
        self.assert_put_back_in(
            self.PRODUCTS, self.KEYS + ", PRIMARY KEY (ProdID, KeyName))",
            "CREATE UNIQUE INDEX Ix_Value ON Tb_XManConfig (KeyName, KeyValue)",
            "INSERT INTO Tb_XManConfig VALUES (4711, 'hostnameforcsxs', 'IDSN'), (4711, 'own', 'value')",
            second=FAILED)

    def test_a_row_with_a_number_that_is_another_column(self):
        """Such a key needs no index. SuiteID is that of InDesign."""
        self.assert_put_back_in(
            self.PRODUCTS.replace("INTEGER PRIMARY KEY", "TEXT UNIQUE")[:-1] + " PRIMARY KEY)",
            "INSERT INTO Tb_ProductInfoV2 (ProdID, SuiteID) VALUES (4711, 7)",
            self.KEYS + ", PRIMARY KEY (ProdID, KeyName))", second=FAILED)

    def test_tables_without_row_numbers(self):
        self.assert_put_back_in(
            self.PRODUCTS.replace("INTEGER PRIMARY KEY", "TEXT PRIMARY KEY") + " WITHOUT ROWID",
            self.KEYS + ", PRIMARY KEY (ProdID, KeyName)) WITHOUT ROWID",
            "INSERT INTO Tb_ProductInfoV2 (ProdID, ProdName) VALUES (190, 'Old')")

    def test_columns_that_tamsel_does_not_know(self):
        self.assert_put_back_in(
            self.PRODUCTS[:-1] + ", Note TEXT DEFAULT 'none')",
            "INSERT INTO Tb_ProductInfoV2 (ProdID, ProdName, Note) VALUES (190, 'Old', 'a note')",
            self.KEYS + ", Origin TEXT DEFAULT 'vendor', PRIMARY KEY (ProdID, KeyName))",
            "INSERT INTO Tb_XManConfig VALUES (190, 'bit', '32', x'00')")

    def test_generated_columns(self):
        self.assert_put_back_in(
            self.PRODUCTS[:-1] + ", Upper TEXT AS (upper(ProdName)) VIRTUAL)",
            "INSERT INTO Tb_ProductInfoV2 (ProdID, ProdName) VALUES (190, 'Old')",
            self.KEYS + ", Length INTEGER AS (length(KeyValue)) STORED, PRIMARY KEY (ProdID, KeyName))",
            "INSERT INTO Tb_XManConfig (ProdID, KeyName, KeyValue) VALUES (190, 'bit', '32')")

    def test_row_numbers_are_kept(self):
        self.assert_put_back_in(
            self.PRODUCTS, self.KEYS + ", PRIMARY KEY (ProdID, KeyName))",
            "INSERT INTO Tb_XManConfig (rowid, ProdID, KeyName) VALUES (9000, 190, 'bit'), (77, 190, 'x')")

    def test_tables_without_keys(self):
        self.assert_put_back_in(
            self.PRODUCTS.replace(" PRIMARY KEY", ""), self.KEYS + ")",
            "INSERT INTO Tb_XManConfig VALUES (190, 'bit', '32'), (190, 'bit', '32'), (190, 'bit', '64')",
            "INSERT INTO Tb_ProductInfoV2 (ProdID, ProdName) VALUES (190, 'Old'), (190, 'Old')")

    def test_a_column_named_like_the_row_number(self):
        self.assert_put_back_in(
            self.PRODUCTS,
            self.KEYS + ", rowid TEXT, oid TEXT, _rowid_ TEXT, PRIMARY KEY (ProdID, KeyName))",
            "INSERT INTO Tb_XManConfig VALUES (190, 'bit', '32', 'a', 'b', 'c')")

    def test_names_in_other_letters(self):
        self.assert_put_back_in(
            self.PRODUCTS.replace("Tb_ProductInfoV2", "TB_PRODUCTINFOV2").replace("AppPath", "APPPATH"),
            self.KEYS.replace("KeyValue", '"keyvalue"') + ", PRIMARY KEY (ProdID, KeyName))")
