"""Triggers and indexes in the database, which nobody knows: a dry run and a run agree on what becomes
of each application, nothing else changes, and the reason is said."""

import json

from harness.deploy import ALL_DONE, INCOPY, INDESIGN, NOT_REGISTERED, DeployTest, back
from harness.machine import DATABASE

# INCOPY (156) comes first, then INDESIGN (190), at which each of these strikes.
AT_BIT = " ON Tb_XManConfig WHEN NEW.ProdID = 190 AND NEW.KeyName = 'bit' BEGIN "
BEFORE, AFTER = "CREATE TRIGGER T BEFORE INSERT" + AT_BIT, "CREATE TRIGGER T AFTER INSERT" + AT_BIT
INDEX = "CREATE UNIQUE INDEX I ON Tb_ProductInfoV2 (LocaleInfo) WHERE ProdID > 189;"
UNDO = f"{AFTER}UPDATE Tb_XManConfig SET KeyValue = 'x' WHERE ProdID = 156; END"
OTHERS = "rows of other products would be changed"
ALONE, ALL = ("would register", "failed"), ("failed", "failed")

WORLDS = {
    "refuse": (f"{BEFORE}SELECT RAISE(ABORT, 'not you'); END", ALONE, "not you"),
    "fail": (f"{BEFORE}SELECT RAISE(FAIL, 'not you'); END", ALONE, "not you"),
    "roll back": (f"{BEFORE}SELECT RAISE(ROLLBACK, 'not you'); END", ALL,
                  f"{INDESIGN} ended the transaction: {DATABASE}: not you"),
    "ignore": (f"{BEFORE}SELECT RAISE(IGNORE); END", ALONE,
               "not what was written has arrived: missing: bit"),
    "change": (f"{AFTER}"
               "UPDATE Tb_XManConfig SET KeyValue = '32' WHERE ProdID = 190 AND KeyName = 'bit'; END", ALONE,
               'not what was written has arrived: bit is "32" instead of "64"'),
    "displace others": (INDEX, ALONE, "rows of other products had to go"),
    "delete others": (f"{AFTER}DELETE FROM Tb_XManConfig WHERE ProdID = 12; END",
                      ALONE, "rows of other products had to go"),
    "delete a row of nobody's": (
        "INSERT INTO Tb_XManConfig (KeyName) VALUES ('nobody''s');"
        f"{AFTER}DELETE FROM Tb_XManConfig WHERE ProdID IS NULL; END",
        ALONE, "rows of other products had to go"),
    "displace and add": (f"{INDEX}{AFTER}"
                         "INSERT INTO Tb_XManConfig VALUES (12, 'more', ''); END", ALL, OTHERS),
    "add to others": (f"{AFTER}"
                      "INSERT INTO Tb_XManConfig VALUES (1860, 'more', ''); END", ALL, OTHERS),
    "rewrite another product's row": (
        f"{AFTER}UPDATE Tb_ProductInfoV2 SET SuiteID = 9 WHERE ProdID = 12; END",
        ALL, OTHERS),
    "rename another product": (
        f"{AFTER}UPDATE Tb_ProductInfoV2 SET ProdName = 'x' WHERE ProdID = 12; END",
        ALL, OTHERS),
    "rewrite a row of nobody's": (
        "INSERT INTO Tb_XManConfig (KeyName) VALUES ('nobody''s');"
        f"{AFTER}UPDATE Tb_XManConfig SET KeyValue = 'x' WHERE ProdID IS NULL; END",
        ALL, OTHERS),
    **{f"change {old} to {new}": (
        f"ALTER TABLE Tb_ProductInfoV2 ADD COLUMN More; UPDATE Tb_ProductInfoV2 SET More = {old};"
        f"{AFTER}UPDATE Tb_ProductInfoV2 SET More = {new} WHERE ProdID = 12; END",
        ALL, OTHERS) for old, new in (("0.1", "0.10000000000000002"), ("'2'", "x'32'"), ("NULL", "''"))},
    "undo one of the same run": (UNDO, ALL, f"{INCOPY} would not be registered in the end"),
    "undo one that was registered": (UNDO, ("registered", "failed"), OTHERS),
}


class Triggers(DeployTest):
    present = (INCOPY, INDESIGN)

    def run_in(self, name, *arguments):
        """Status, states, changes and what was said, in a world of its own."""
        sql, _, _ = WORLDS[name]
        self.create_database(self.schema)
        if name == "undo one that was registered":
            self.deploy(INCOPY)
        self.change(sql)
        before = self.installed()
        known = self.all_backups()
        result = self.deploy("--json", *arguments, INCOPY, INDESIGN)
        found = json.loads(result.out)
        states = [item["state"] for item in found["applications"]]
        new = [backup.name for backup in self.all_backups() if backup not in known]
        return before, result, found, states, new

    def test_a_dry_run_and_a_run_agree(self):
        for name, (_, would, reason) in WORLDS.items():
            with self.subTest(name):
                before, result, found, states, new = self.run_in(name, "--dry-run")
                self.assertEqual((result.status, tuple(states)), (NOT_REGISTERED, would), found)
                self.assertIn(reason, found["applications"][1]["reason"])
                self.assertIn(found["applications"][1]["reason"], found["reason"])
                self.assertEqual((self.installed(), new), (before, []))

                before, result, run, states, new = self.run_in(name)
                self.assertEqual((result.status, run["reason"]), (NOT_REGISTERED, found["reason"]))
                self.assertEqual(states, [state.replace("would register", "registered") for state in would])
                self.assertEqual([item["changed"] for item in run["applications"]], [would == ALONE, False])
                self.assertEqual(new, [run["backup"]] if would == ALONE else [])
                self.assertEqual(result.err.decode().endswith(back(run["backup"])), would == ALONE)
                if would == ALONE:
                    # The one that succeeded is there, nothing else, and a restore undoes it.
                    self.assert_only_incopy_came(before[0][1], self.dump()[1])
                    self.assert_deploys(["--restore"], ALL_DONE, f"restored: {run['backup']}\n")
                    self.assertEqual(self.dump(), before[0])
                    self.copied.unlink(missing_ok=True)
                else:
                    self.assertEqual(self.installed(), before)

    def test_what_they_write_into_other_tables_is_not_compared(self):
        """However much it is, it gets into the file only in the end."""
        self.change(f"CREATE TABLE Other (a); {AFTER}INSERT INTO Other VALUES (zeroblob(9999999)); END")
        self.assert_deploys([INDESIGN], ALL_DONE, f"registered: {INDESIGN}\n")
        self.assertEqual(self.rows("SELECT LENGTH(a) FROM Other"), [(9999999,)])

    def assert_only_incopy_came(self, before, after):
        for table, count in (("Tb_ProductInfoV2", 1), ("Tb_XManConfig", 14)):
            self.assertEqual(len([row for row in after[table] if row[1] == 156]), count)
            self.assertEqual([row for row in after[table] if row[1] != 156], before[table])
