"""Random sequences of what happens to an installation, each step compared with a simple model.

The variable TAMSEL_SEQUENCES says how many sequences each test runs, TAMSEL_SEED with which seed it begins.
"""

import os
import random
from itertools import combinations
from typing import NamedTuple

from harness.deploy import ALL_DONE, DAMAGED, INCOPY, NO_DATABASE, NOT_RESTORED, NOT_WRITTEN, OLD_FILE
from harness.machine import slow
from harness.promises import ABORTED, KILLED, PromiseTest, product, product_rows
from harness.registration import INDESIGN, TABLES
from harness.strace import HAPPENED

SEQUENCES = int(os.environ.get("TAMSEL_SEQUENCES", "150"))
SEED = int(os.environ.get("TAMSEL_SEED", "1"))
CHOICES = ([INDESIGN], [INCOPY], [INDESIGN, INCOPY])
FAULTS = ("signal=KILL",) * 5 + ("error=EIO", "error=ENOSPC", "error=EINTR")
# Roughly how often a run makes these calls; one that is not made disturbs nothing.
CALLS = {"openat": 60, "write": 8, "pwrite64": 30, "rename": 4, "unlink": 8, "mkdir": 3, "rmdir": 2,
         "fchmod": 4, "fchown": 4, "fcntl": 50, "pread64": 40, "fsync": 16, "fdatasync": 8, "link": 1}
FOREIGN = (
    "INSERT OR REPLACE INTO Tb_XManConfig VALUES (12, 'late', '{0}')",
    "UPDATE Tb_ProductInfoV2 SET SuiteID = {0} WHERE ProdID = 1860",
    "DELETE FROM Tb_XManConfig WHERE ProdID = 12 AND KeyName = 'late'",
    "DELETE FROM Tb_XManConfig WHERE ProdID = 190",
    "UPDATE Tb_XManConfig SET KeyValue = '{0}' WHERE ProdID = 156 AND KeyName = 'bit'",
    "DELETE FROM Tb_ProductInfoV2 WHERE ProdID = 156",
)


class State(NamedTuple):
    """What the Extension Manager has."""

    rows: object  # or the bytes of what is no database, or None
    mode: object
    file: object  # content and mode, or None

    @classmethod
    def of(cls, present):
        (content, mode), file = present[0] or (None, None), present[1]
        if isinstance(content, tuple):
            content = frozenset((table, *map(str, row[1:]))
                                for table, rows in content[1].items() for row in rows)
        return cls(content, mode, file)

    def is_sound(self):
        return isinstance(self.rows, frozenset)

    def registered(self, paths, shipped, replace):
        numbers = {product(path) for path in paths}
        rows = {row for row in self.rows if row[1] not in numbers}
        rows |= {(table, *row) for path in paths
                 for table, own in zip(TABLES, product_rows(path)) for row in own}
        file = self.file
        if replace or not file:
            file = shipped, file[1] if file else 0o100644
        return State(frozenset(rows), self.mode, file)


@slow
class Sequences(PromiseTest):
    def setUp(self):
        super().setUp()
        self.need("strace")

    def begin_with(self, seed):
        self.random, self.said, self.saved = random.Random(seed), [], {}
        self.put(self.begin)
        if self.random.random() < 0.5:
            self.copied.write_bytes(OLD_FILE)
        # What is there; the state before the last registration; whether that may not have ended; and
        # whether somebody else has written since.
        self.now, self.goal, self.is_open, self.is_changed = State.of(self.condition()), None, False, False

    # What a run leads to: its status, the state after it, and what --restore then brings back

    def expect(self, paths, replace):
        if not self.now.is_sound():
            return NO_DATABASE if self.now.rows is None else DAMAGED, self.now, [self.goal]
        after = self.now.registered(paths, self.shipped.read_bytes(), replace)
        if after == self.now:
            return ALL_DONE, after, [self.goal]
        goals = [self.now]
        if self.is_open and self.goal.rows == self.now.rows and (self.now.file or [None])[0] in (
                None, self.shipped.read_bytes(), (self.goal.file or [None])[0]):
            # Two databases with the same rows may differ in their bytes.
            goals = [self.goal, self.now][:2 if self.is_changed else 1]
        return ALL_DONE, after, goals

    def some_run(self):
        kind, paths = self.random.random(), self.random.choice(CHOICES)
        if kind < 0.65:
            replace = self.random.random() < 0.3
            self.ways = []
            if self.now.is_sound():
                self.ways = [self.now.registered(some, self.shipped.read_bytes(), replace)
                             for count in (1, 2) for some in combinations(paths, count)]
            return [*["--replace-file"] * replace, *paths], *self.expect(paths, replace)
        names = [backup.name for backup in self.all_backups()] if kind > 0.85 else []
        name = [self.random.choice(names)] if names else []
        state = self.saved[name[0]] if name else self.goal
        self.ways = [state] if state else []
        arguments = ["--restore", *name]
        if state is None or not state.is_sound():
            return arguments, NOT_RESTORED, self.now, [self.goal]
        return arguments, ALL_DONE, state, [self.goal]

    # What is compared

    def look(self):
        """What is there now. Backups never change, and the first and the five newest ones stay."""
        known, backups = dict(self.saved), self.all_backups()
        listed = {backup.name: State.of(self.condition(backup)) for backup in backups}
        for name, state in listed.items():
            self.assertEqual(known.get(name, state), state, f"{name} has changed")
            self.assertTrue(name in known or state.rows in (self.now.rows, None), f"{name} is of no use")
        self.saved.update(listed)
        order = sorted(self.saved, key=lambda name: int(name.partition("-")[0]))
        self.assertLessEqual({*order[:1], *order[-5:]}, set(listed))
        goal, is_open = None, False
        for backup in backups:
            note = next(backup / name for name in ("unfinished", "note") if (backup / name).exists())
            if note.read_text().startswith("before registering "):
                goal, is_open = listed[backup.name], note.name == "unfinished"
        return State.of(self.condition()), goal, is_open

    def arrive(self, status, result, after, goals):
        """After an undisturbed run."""
        self.assertEqual(result.status, status, result)
        now, goal, is_open = self.look()
        self.assertEqual(now, after, result)
        self.assertIn(goal, goals, result)
        self.go_on(now, goal, is_open)

    def arrive_somewhere(self, status, result, after, goals):
        """After a disturbed one. It may have done nothing, or all; what it says is proven elsewhere."""
        if result.status == ALL_DONE:
            return self.arrive(status, result, after, goals)
        now, goal, is_open = self.look()
        possible = [self.now, after, *self.ways]
        self.assertIn(now.rows, [state.rows for state in possible], result)
        self.assertIn(now.file, [state.file for state in possible], result)
        if result.status not in (KILLED, ABORTED, NOT_RESTORED, NOT_WRITTEN):
            self.assertIn(now, [self.now, *self.ways], result)
        self.assertIn(goal, [self.goal, *goals] if now.rows == self.now.rows else goals, result)
        return self.go_on(now, goal, is_open)

    def go_on(self, now, goal, is_open):
        self.is_changed = self.is_changed and is_open
        self.now, self.goal, self.is_open = now, goal, is_open

    # Steps

    def run_undisturbed(self):
        arguments, *expected = self.some_run()
        self.said.append(arguments)
        result = self.run_again(*arguments)
        self.arrive(expected[0], result, *expected[1:])
        if result.status == ALL_DONE and arguments[0] == "--restore":
            self.assert_nothing_left()

    def run_disturbed(self):
        arguments, *expected = self.some_run()
        name, fault = *self.random.choices(list(CALLS), CALLS.values()), self.random.choice(FAULTS)
        number = self.random.randint(1, CALLS[name])
        options = ["-e", f"trace={name}", "-e", f"inject={name}:{fault}:when={number}"]
        log = self.folder / "trace"
        result = self.shell.run("strace", "-qq", "-o", log, *options, *self.command, *arguments)
        self.said.append([*options, *arguments, result.status])
        happened = HAPPENED.search(log.read_text(errors="replace"))
        (self.arrive_somewhere if happened else self.arrive)(expected[0], result, *expected[1:])

    def another_program(self):
        action, number = self.random.random(), self.random.randrange(100)
        sql = self.random.choice(FOREIGN).format(number)
        self.said.append([action, number, sql])
        if action < 0.15:
            for file in self.database.parent.glob("ExMan.db*"):
                file.unlink()
            if action < 0.08:
                self.database.write_bytes(b"%d " % number * 1000)
        elif action < 0.3:
            self.copied.unlink(missing_ok=True)
            if number % 3:
                self.copied.write_bytes(b"%d" % number)
        elif self.now.is_sound():
            self.change(sql)
        self.now, self.is_changed = State.of(self.condition()), True

    def test_random_sequences(self):
        steps = {self.run_undisturbed: 5, self.run_disturbed: 7, self.another_program: 4}
        for seed in range(SEED, SEED + SEQUENCES):
            self.begin_with(seed)
            with self.subTest(seed=seed, steps=self.said):
                for step in self.random.choices(list(steps), steps.values(), k=self.random.randint(3, 9)):
                    step()
                # In the end the way back still exists.
                result = self.run_again("--restore")
                status = NOT_RESTORED if self.goal is None else ALL_DONE
                self.arrive(status, result, self.goal or self.now, [self.goal])


@slow
class SequencesWithAWriteAheadLog(Sequences):
    journal = "wal"
