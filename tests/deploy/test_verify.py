"""Each value that is registered is looked at, and somebody who may only read can do so."""

from harness.deploy import ALL_DONE, FAILED, INDESIGN, NOT_REGISTERED, NOT_ROOT, REGISTERED, DeployTest
from harness.machine import DATABASE

COLUMNS = {"ProdName": "InDesign", "DisplayName": "InDesign 2020", "FamilyName": "InDesign",
           "ProdVersion": "15.0.0", "PCDEntryName": "indesign-15.064",
           "AppPath": "/Applications/Adobe InDesign 2020", "LocaleInfo": "en_US", "SuiteID": "7"}
BIT = "UPDATE Tb_XManConfig SET KeyValue = {} WHERE KeyName = 'bit' AND ProdID = 190"


class VerifyTest(DeployTest):
    present = (INDESIGN,)

    def setUp(self):
        super().setUp()
        self.deploy_once()
        self.before = self.database.read_bytes()

    def assert_notices(self, sql, what):
        with self.subTest(sql):
            self.change(sql)
            result = self.deploy("--verify")
            self.assertEqual((result.out.decode(), result.status),
                             (f"not registered: {INDESIGN}\n", NOT_REGISTERED))
            self.assert_logged(result.err, f"{INDESIGN}: {what}\n")
            self.database.write_bytes(self.before)


class Values(VerifyTest):
    def test_every_column_and_key(self):
        for column, value in COLUMNS.items():
            self.assert_notices(f"UPDATE Tb_ProductInfoV2 SET {column} = '7777' WHERE ProdID = 190",
                                f'{column} is "7777" instead of "{value}"')
        self.assert_notices("DELETE FROM Tb_ProductInfoV2 WHERE ProdID = 190", "missing: ProdID")
        keys = self.rows("SELECT KeyName, KeyValue FROM Tb_XManConfig WHERE ProdID = 190")
        self.assertEqual(len(keys), 14)
        for key, value in keys:
            where = f"WHERE ProdID = 190 AND KeyName = '{key}'"
            self.assert_notices(f"UPDATE Tb_XManConfig SET KeyValue = 'x' {where}",
                                f'{key} is "x" instead of "{value}"')
            self.assert_notices(f"DELETE FROM Tb_XManConfig {where}", f"missing: {key}")

    def test_values_that_look_alike(self):
        for value, found in (("NULL", ""), ("''", ""), ("'64 '", "64 "), ("'64.0'", "64.0"),
                             ("X'3634'", "64"), ("'64' || char(0)", r"64\x00")):
            self.assert_notices(BIT.format(value), f'bit is "{found}" instead of "64"')
        self.assert_notices("UPDATE Tb_ProductInfoV2 SET LocaleInfo = 'EN_US' WHERE ProdID = 190",
                            'LocaleInfo is "EN_US" instead of "en_US"')
        self.assert_notices("UPDATE Tb_XManConfig SET KeyName = 'Bit' WHERE KeyName = 'bit' AND ProdID = 190",
                            "missing: bit")

    def test_several_differences_in_one_sentence(self):
        self.assert_notices("UPDATE Tb_ProductInfoV2 SET SuiteID = 8, ProdName = '' WHERE ProdID = 190;"
                            "DELETE FROM Tb_XManConfig WHERE ProdID = 190 AND KeyName > 'm';"
                            + BIT.format(32),
                            'ProdName is "" instead of "InDesign"; SuiteID is "8" instead of "7";'
                            ' bit is "32" instead of "64"; missing: minexmanversion, productname, suite')


class TablesWithoutKeys(VerifyTest):
    """Rows of different registrations exist side by side: each of the same key must match."""

    schema = "without-keys"

    def test_a_wrong_row_beside_the_right_one(self):
        self.assert_notices("INSERT INTO Tb_XManConfig VALUES ('190', 'bit', '32')",
                            'bit is "32" instead of "64"')
        self.assert_notices("INSERT INTO Tb_XManConfig VALUES ('190', 'suite', NULL)",
                            'suite is "" instead of "CC"')

    def test_the_right_one_twice_and_other_keys(self):
        self.change("INSERT INTO Tb_XManConfig SELECT * FROM Tb_XManConfig WHERE ProdID = '190';"
                    "INSERT INTO Tb_XManConfig VALUES ('190', 'another', 'value')")
        self.assert_verified(REGISTERED)


class ByOthers(VerifyTest):
    def test_needs_no_root_and_leaves_no_trace(self):
        self.database.chmod(0o444)
        self.assert_unchanged(["--verify"], ALL_DONE, out=REGISTERED,
                              options=["--user", "501", "--read-only", "/Library"])

    def test_a_write_ahead_log_on_a_read_only_volume(self):
        self.change("PRAGMA journal_mode = WAL")
        self.assert_unchanged(["--verify"], NOT_REGISTERED,
                              " (in write-ahead mode, its folder must be writable)\n",
                              out=FAILED, options=["--read-only", "/Library"])

    def test_a_database_that_may_not_be_read(self):
        self.database.chmod(0)
        result = self.deploy("--verify", options=["--user", "501"])
        self.database.chmod(0o600)
        self.assertEqual((result.out.decode(), result.status), (FAILED, NOT_ROOT))
        self.assert_logged(result.err, f"{DATABASE}: unable to open database file", "; try again with sudo\n")

    def test_a_hot_journal_is_rolled_back_by_whoever_may_write(self):
        self.leave_hot_journal()
        paths = *self.database.parent.iterdir(), self.database.parent
        modes = {path: path.stat().st_mode for path in paths}
        for path, mode in modes.items():
            path.chmod(mode & 0o7555)
        for options in (["--user", "501"], ["--user", "501", "--read-only", "/Library"]):
            self.assert_unchanged(["--verify"], NOT_ROOT, f"{DATABASE}: ", "; try again with sudo\n",
                                  out=FAILED, options=options)
        for path, mode in modes.items():
            path.chmod(mode)
        self.assert_deploys(["--verify"], ALL_DONE, REGISTERED)
        self.assertEqual([path.name for path in self.database.parent.iterdir()], ["ExMan.db"])

    def test_a_folder_that_a_user_must_not_look_into(self):
        self.database.parent.chmod(0)
        self.addCleanup(self.database.parent.chmod, 0o755)
        self.assert_deploys(["--verify"], NOT_ROOT, "",
                            f"{DATABASE}: Permission denied; try again with sudo\n",
                            options=["--user", "501"])

    def test_what_somebody_is_writing_does_not_count_yet(self):
        self.hold("BEGIN IMMEDIATE; DELETE FROM Tb_XManConfig")
        self.assert_deploys(["--verify", "--wait", "0"], ALL_DONE, REGISTERED)
