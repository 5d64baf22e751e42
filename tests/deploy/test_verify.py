import shutil

from harness.deploy import ALL_DONE, INDESIGN, NOT_REGISTERED, DeployTest


class Verification(DeployTest):
    """Every value that Tamsel writes is checked."""

    def setUp(self):
        super().setUp()
        self.add_applications(INDESIGN)
        self.deploy_once()
        self.before = self.database.read_bytes()

    def assert_notices(self, sql, what):
        with self.subTest(sql):
            self.change(sql)
            self.assert_verified(f"not registered: {INDESIGN}\n", NOT_REGISTERED,
                                 f"{INDESIGN}: missing or different: {what}\n")
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

    def test_values_that_look_alike(self):
        for value in ("NULL", "''", "'64 '", "' 64'", "'64.0'", "X'3634'", "'en_us'", "char(0) || '64'",
                      "'64' || char(0)"):
            self.assert_notices(f"UPDATE Tb_XManConfig SET KeyValue = {value} WHERE KeyName = 'bit'"
                                " AND ProdID = 190", "bit")
        self.assert_notices("UPDATE Tb_ProductInfoV2 SET LocaleInfo = 'EN_US' WHERE ProdID = 190",
                            "the product's row")
        self.assert_notices("UPDATE Tb_XManConfig SET KeyName = 'Bit' WHERE KeyName = 'bit' AND ProdID = 190",
                            "bit")

    def test_all_that_is_missing_in_one_line(self):
        self.assert_notices("DELETE FROM Tb_XManConfig WHERE ProdID = 190 AND KeyName < 'c';"
                            "DELETE FROM Tb_ProductInfoV2 WHERE ProdID = 190",
                            "the product's row $iconpath $indesign $indesign_user $installfolder"
                            " $pluginconfigfile $preextensionfolder bit")

    def test_needs_no_root_and_no_quiet_manager(self):
        before = self.state()
        result = self.deploy("--verify", options=["--user", "501", *self.stand_in("exit 0", "pgrep")])
        self.assertEqual(result, (f"registered: {INDESIGN}\n".encode(), b"", ALL_DONE))
        self.assertEqual(self.state(), before)

    def test_somebodys_settings_of_sqlite_do_not_matter(self):
        (self.folder / ".sqliterc").write_text(".headers on\n.mode box\n")
        self.change("DELETE FROM Tb_ProductInfoV2")
        result = self.deploy("--verify", INDESIGN, environment={"HOME": self.folder})
        self.assertRegex(result.err, rb"Z tamsel-deploy: .*: missing or different: the product's row\n\Z")

    def test_a_registration_of_another_folder(self):
        shutil.rmtree(self.applications / "Adobe InDesign 2020")
        self.add_applications("/Applications/Adobe InDesign 2020.app")
        self.assert_verified("not registered: /Applications/Adobe InDesign 2020.app\n", NOT_REGISTERED,
                             "missing or different: the product's row $installfolder\n")

    def test_a_database_that_is_being_written(self):
        """Readers get in until a writer commits; what it has not committed does not count."""
        self.hold("BEGIN IMMEDIATE; DELETE FROM Tb_XManConfig")
        self.assert_deploys(["--verify", "--wait", "0"], ALL_DONE, f"registered: {INDESIGN}\n")

    def test_a_database_in_write_ahead_mode_that_is_in_use(self):
        self.change("PRAGMA journal_mode = WAL")
        self.hold("BEGIN IMMEDIATE; DELETE FROM Tb_XManConfig")
        self.assert_deploys(["--verify", "--wait", "0"], ALL_DONE, f"registered: {INDESIGN}\n")


class TablesWithoutKeys(DeployTest):
    """Nothing conflicts in them, and rows of different registrations exist side by side."""

    schema = "without-keys"

    def setUp(self):
        super().setUp()
        self.add_applications(INDESIGN)
        self.deploy_once()

    def assert_not_registered(self, sql, what):
        with self.subTest(sql):
            self.change(sql)
            self.assert_verified(f"not registered: {INDESIGN}\n", NOT_REGISTERED,
                                 f"missing or different: {what}\n")

    def test_a_wrong_value_beside_the_right_one(self):
        self.assert_not_registered("INSERT INTO Tb_XManConfig VALUES ('190', 'bit', '32')", "bit")

    def test_a_wrong_row_of_the_product_beside_the_right_one(self):
        self.assert_not_registered("INSERT INTO Tb_ProductInfoV2 (ProdID, ProdName) VALUES ('190', 'Old')",
                                   "the product's row")

    def test_no_value_beside_the_right_one(self):
        self.assert_not_registered("INSERT INTO Tb_XManConfig VALUES ('190', 'suite', NULL)", "suite")

    def test_the_right_one_twice_and_other_keys(self):
        self.change("INSERT INTO Tb_XManConfig SELECT * FROM Tb_XManConfig WHERE ProdID = '190';"
                    "INSERT INTO Tb_XManConfig VALUES ('190', 'another', 'value')")
        self.assert_verified(f"registered: {INDESIGN}\n")
