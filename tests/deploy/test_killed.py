"""What later runs make of what a killed one left."""

from harness.deploy import (ALL_DONE, CLOSED, INCOPY, INDESIGN, NOT_REGISTERED, OLD_FILE, OPEN, RESTORING,
                            DeployTest)
from harness.machine import DATABASE

KILL = "kill -KILL $PPID"
REFUSE = ("CREATE TRIGGER Refuse BEFORE INSERT ON Tb_XManConfig WHEN NEW.KeyName = 'suite'"
          " BEGIN SELECT RAISE(ABORT, 'refused'); END")


class Killed(DeployTest):
    def setUp(self):
        super().setUp()
        self.add_applications(INDESIGN, INCOPY)
        self.before = self.installed()

    def kill(self, script, *arguments):
        """A run for INDESIGN that its Tamsel kills; the next Tamsel is the real one."""
        self.replace_tamsel(script)
        self.assertEqual(self.deploy(INDESIGN, *arguments).status, 128 + 9)
        self.assertEqual([self.note(backup) for backup in self.all_backups()], [(OPEN, [INDESIGN])])
        self.replace_tamsel('tamsel "$@"')

    def assert_completed(self):
        """The next run for the same application registers it, and the state to go back to is the
        one before the first run."""
        self.assert_deploys([INDESIGN], ALL_DONE, f"registered: {INDESIGN}\n")
        self.assertNotIn(OPEN, [self.note(backup)[0] for backup in self.all_backups()])
        self.assert_nothing_lies_about()
        self.assert_goes_back()

    def assert_goes_back(self):
        self.assertEqual(self.deploy("--restore").status, ALL_DONE)
        self.assertEqual(self.installed(), self.before)

    def assert_nothing_lies_about(self):
        self.assertEqual(sorted(path.name for path in self.own.iterdir()), ["Backups", "lock"])
        self.assertEqual([path.name for path in self.database.parent.iterdir()], ["ExMan.db"])
        self.assertLessEqual({path.name for path in self.configuration.iterdir()}, {"DB", "XManConfigV2.xml"})

    def test_before_tamsel_has_done_anything(self):
        self.kill(KILL)
        self.assert_completed()

    def test_after_one_statement(self):
        self.change(REFUSE)
        self.before = self.installed()
        self.kill(f'tamsel "$@"; {KILL}')
        self.assertEqual(len(self.rows("SELECT * FROM Tb_ProductInfoV2 WHERE ProdID = 190")), 1)
        self.assert_deploys([INDESIGN], NOT_REGISTERED, f"failed: {INDESIGN}\n")
        self.assertEqual(self.installed(), self.before)
        self.assertEqual({self.note(backup)[0] for backup in self.all_backups()}, {CLOSED})
        self.assert_goes_back()

    def test_after_both_statements(self):
        self.kill(f'tamsel "$@"; {KILL}')
        self.assertEqual(len(self.rows("SELECT * FROM Tb_XManConfig WHERE ProdID = 190")), 14)
        self.assert_completed()

    def test_with_the_file_replaced(self):
        self.copied.write_bytes(OLD_FILE)
        self.before = self.installed()
        self.kill(KILL, "--replace-file")
        self.assertNotEqual(self.copied.read_bytes(), OLD_FILE)
        self.assert_completed()

    def test_before_a_restore(self):
        self.kill(f'tamsel "$@"; {KILL}')
        self.assert_goes_back()
        self.assert_nothing_lies_about()
        self.assertNotIn(OPEN, [self.note(backup)[0] for backup in self.all_backups()])

    def test_before_a_run_of_another_application(self):
        """It rolls back first: the other registration had not finished."""
        self.change("CREATE TRIGGER Forget AFTER INSERT ON Tb_XManConfig WHEN NEW.KeyName = 'suite'"
                    " AND NEW.ProdID = 190 BEGIN DELETE FROM Tb_XManConfig WHERE ProdID = 190; END")
        self.kill(f'tamsel "$@"; {KILL}')
        self.assert_deploys([INCOPY], ALL_DONE, f"registered: {INCOPY}\n")
        self.assertEqual(self.rows("SELECT ProdID FROM Tb_ProductInfoV2 ORDER BY ProdID"),
                         [(12,), (156,), (1860,)])
        self.assert_nothing_lies_about()

    def test_again_and_again(self):
        """However many attempts are killed, the state before the first one comes back."""
        self.kill(f'tamsel "$@" >/dev/null; {KILL}')
        for number in range(7):
            self.replace_tamsel(f'sqlite3 "{DATABASE}" '
                                f'"REPLACE INTO Tb_XManConfig VALUES (190, 5, {number})"; {KILL}')
            self.change("DELETE FROM Tb_ProductInfoV2 WHERE ProdID = 190")
            self.assertEqual(self.deploy(INDESIGN).status, 128 + 9)
        self.replace_tamsel('tamsel "$@"')
        self.assert_completed()

    def test_only_looking_leaves_it_to_the_next_run(self):
        self.kill(KILL)
        for arguments in (["--verify", INDESIGN], ["--dry-run", INDESIGN], ["--list"]):
            before = self.state()
            self.deploy(*arguments)
            self.assertEqual(self.state(), before)

    def test_what_came_in_between_is_saved_before_it_goes(self):
        self.change(REFUSE)
        self.kill(f'tamsel "$@"; {KILL}')
        self.change("DROP TRIGGER Refuse; INSERT INTO Tb_XManConfig VALUES (190, 'mine', 'later')")
        between = self.dump()
        self.assert_deploys([INDESIGN], ALL_DONE, f"registered: {INDESIGN}\n")
        first, saved, _ = self.all_backups()
        self.assertEqual(self.note(saved), (RESTORING, [first.name]))
        self.assertEqual(self.dump(saved / "ExMan.db"), between)

    def test_after_the_first_of_two_applications(self):
        self.replace_tamsel(f'tamsel "$@"; [ "$2" != "{INCOPY}" ] || {KILL}')
        self.assertEqual(self.deploy(INDESIGN, INCOPY).status, 128 + 9)
        self.replace_tamsel('tamsel "$@"')
        self.change("DELETE FROM Tb_XManConfig WHERE ProdID = 156 AND KeyName = 'suite'")
        self.assert_deploys([INDESIGN, INCOPY], ALL_DONE, f"registered: {INDESIGN}\nregistered: {INCOPY}\n")
        self.assertEqual(len(self.all_backups()), 1)
        self.assert_goes_back()
