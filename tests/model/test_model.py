"""Random sequences of what happens to an installation, with each step compared with the model.

The variable TAMSEL_SEQUENCES says how many sequences each test runs, TAMSEL_SEED with which seed it begins.
"""

import os
import random
from itertools import permutations

from harness import disk, snapshot
from harness.deploy import (ALL_DONE, CLOSED, DAMAGED, INCOPY, NOT_RESTORED, NOT_WRITTEN, OLD_FILE,
                            OPEN)
from harness.machine import DATABASE, slow
from harness.points import HAPPENED
from harness.promises import ABORTED, KILLED, RESTORED, PromiseTest
from harness.registration import INDESIGN
from model.expectation import Model, State

SEQUENCES = int(os.environ.get("TAMSEL_SEQUENCES", "150"))
SEED = int(os.environ.get("TAMSEL_SEED", "1"))
CHOICES = ([INDESIGN], [INCOPY], [INDESIGN, INCOPY])
ERRORS = ("EIO", "ENOSPC", "EACCES", "EINTR", "EMFILE")
# Roughly how often a run makes these calls; one that is not made disturbs nothing.
CHANGING = {"openat": 40, "write": 8, "pwrite64": 50, "rename": 8, "unlink": 32, "mkdir": 6, "rmdir": 4,
            "link": 1, "symlink": 2, "chmod": 3, "fchmod": 3, "ftruncate": 3, "clone3": 3, "poll": 6,
            "wait4": 3}
CALLS = {"newfstatat": 240, "fcntl": 130, "pread64": 60, "fsync": 16, "fdatasync": 4, "getdents64": 16,
         "read": 20, "access": 4, "readlink": 10, "flock": 1, "mmap": 20, **CHANGING}
# What is not ours stays; what a killed run can leave goes.
STAYS = ("2019 originals, do not delete", "notes", "0009-2020-01-01T000000Z", "12-2020-01-01T000000Z")
GOES = ("Backups/.incomplete", "staging/Resources")
FOREIGN = (
    "INSERT OR REPLACE INTO Tb_XManConfig VALUES (12, 'late', '{0}')",
    "UPDATE Tb_ProductInfoV2 SET SuiteID = {0} WHERE ProdID = 1860",
    "DELETE FROM Tb_XManConfig WHERE ProdID = 12 AND KeyName = 'late'",
    "DELETE FROM Tb_XManConfig WHERE ProdID = 190",
    "UPDATE Tb_XManConfig SET KeyValue = '{0}' WHERE ProdID = 156 AND KeyName = 'bit'",
    "DELETE FROM Tb_ProductInfoV2 WHERE ProdID = 156",
)


@slow
class Sequences(PromiseTest):
    def setUp(self):
        super().setUp()
        self.need("strace")
        self.shipped_file = (self.shipped.read_bytes(), 0o100644)

    def begin_with(self, seed):
        self.random = random.Random(seed)
        self.said, self.saved, self.planted = [], {}, set()
        self.changed = False  # by others, since a registration began that has not finished
        self.put(self.begin)
        if self.random.random() < 0.5:
            self.copied.write_bytes(OLD_FILE)
        self.model = Model(State.of(self.present()))

    def say(self, *words):
        self.said.append(" ".join(str(word) for word in words))

    # What is there

    def look(self):
        """The Model as seen from outside; also records what is saved."""
        self.settle()
        backups = self.all_backups()
        listed = {}
        for backup in backups:
            moment = tuple((name, content) for name, (_, content, _) in snapshot.take(backup).items()
                           if name.startswith(("ExMan", "XMan")))
            known = self.saved.get(backup.name)
            state = known[1] if known and known[0] == moment else State.of(self.present(backup))
            self.assertTrue(known is None or known[1] == state, f"{backup.name} has changed")
            listed[backup.name] = (moment, state)
        new = [state for name, (_, state) in listed.items() if name not in self.saved]
        self.saved.update(listed)
        self.assert_kept([backup.name for backup in backups])
        notes = [(self.notes(backup)[0], backup.name) for backup in backups]
        names = [name for note, name in notes if note == OPEN][:1] or [
            name for note, name in notes if note == CLOSED][-1:]
        goal, begun = listed[names[0]][1] if names else None, ()
        if (OPEN, *names) in notes:
            begun = tuple((self.backups / names[0] / OPEN).read_text().splitlines())
        return new, Model(State.of(self.present()), goal, begun)

    def assert_kept(self, listed):
        """The first backup and the newest five never go, nor does what is not ours."""
        known = sorted(self.saved, key=lambda name: int(name.partition("-")[0]))
        self.assertLessEqual({*known[:1], *known[-5:]}, set(listed))
        self.assertLessEqual(self.planted, {path.name for path in self.backups.iterdir()}
                             if self.planted else set())

    def arrive(self, results, *between):
        """After the last step, one of these Models must hold."""
        new, seen = self.look()
        self.assertIn(seen, results)
        for state in new:
            self.assertIn(state, [self.model.now, self.model.base(self.shipped_file), *between])
        if seen.now != self.model.now and not self.model.is_explained(self.shipped_file):
            self.assert_saved(self.model.now)
        self.go_on_from(seen)

    def assert_saved(self, state):
        """What a run replaced can be brought back."""
        self.assertIn(state, [self.saved[backup.name][1] for backup in self.all_backups()])

    def go_on_from(self, seen):
        self.model = seen
        self.changed = self.changed and seen.begun != ()

    def arrive_somewhere(self, result, results, states):
        """The last step was disturbed. It may have done nothing, or all of it; anything else is the
        half-done state that a kill leaves, or what could not be put back, and nothing more."""
        before, base = self.model, self.model.base(self.shipped_file)
        untouched, ends = [before.now, base], [after.now for after in results]
        new, seen = self.look()
        if result.status == ALL_DONE:
            # A restore that could not close what was begun says so.
            open_still = [after._replace(begun=before.begun) for after in results]
            self.assertIn(seen, results + open_still * (b"left behind: " in result.err))
        elif result.status in (KILLED, ABORTED) or (result.status == NOT_RESTORED and seen.begun):
            ours, possible = CHOICES[-1], [*untouched, *states, *ends]
            self.assertIn(seen.now.others(ours), [state.others(ours) for state in possible])
            self.assertIn(seen.now.file, [state.file for state in possible])
        else:
            ends = ends if result.status == NOT_WRITTEN else []
            self.assertIn(seen.now, [*untouched, *states, *ends])
        for state in new:
            self.assertIn(state, untouched)
        goals = [after.goal for after in results]
        self.assertIn(seen.goal, [before.goal, *goals])
        if seen.now not in untouched and not before.begun:
            self.assertIn(seen.goal, goals)
        self.go_on_from(seen)

    # Runs

    def some_run(self):
        """A registration or a restore: its arguments, the status and the Models that it leads to,
        and the states on the way, in which a failing run may leave it."""
        kind = self.random.random()
        if kind < 0.65:
            paths, replace = self.random.choice(CHOICES), self.random.random() < 0.3
            status, results = self.model.deploy(paths, self.shipped_file, replace, self.changed)
            base = self.model.base(self.shipped_file)
            states = [base.registered(path, self.shipped_file, replace) for path in paths] \
                if status == ALL_DONE else []
            return [*["--replace-file"] * replace, *paths], status, results, states
        listed = [backup.name for backup in self.all_backups()]
        if kind < 0.85 or not listed:
            return ["--restore"], *self.model.restore(), []
        name = self.random.choice(listed)
        return ["--restore", name], *self.model.restore(self.saved[name][1]), []

    def run_undisturbed(self):
        arguments, status, results, _ = self.some_run()
        clock = self.random.choice((0, 1, 10 ** 9, 4 * 10 ** 9, 10 ** 12))
        variables = [f"{name}={value}" for name, value in self.clock(clock).items()]
        self.say("at", clock, *arguments)
        result = self.shell.run("env", *variables, *self.command, *arguments)
        self.assertEqual(result.status, status, result.err.decode())
        self.arrive(results)

    def disturbed(self, fault, calls):
        arguments, status, results, states = self.some_run()
        name, = self.random.choices(list(calls), calls.values())
        number = self.random.randint(1, calls[name])
        options = ["-e", f"trace={name}", "-e", f"inject={name}:{fault}:when={number}"]
        self.say(*options, *arguments)
        log = self.folder / "trace"
        result = self.shell.run("strace", "-qq", "-o", log, *options, *self.command, *arguments)
        self.said[-1] += f" -> {result.status} {result.out}"
        if HAPPENED.search(log.read_text(errors="replace")):
            self.arrive_somewhere(result, results, states)
        else:
            self.assertEqual(result.status, status, result.err.decode())
            self.arrive(results)

    def run_killed(self):
        self.disturbed("signal=KILL", CHANGING)

    def run_failing(self):
        self.disturbed("error=" + self.random.choice(ERRORS), CALLS)

    def run_on_a_full_disk(self):
        arguments, _, results, states = self.some_run()
        pages = disk.used(snapshot.take(self.private_library)) + self.random.randrange(40)
        self.say("on a disk of", pages, "pages", *arguments)
        result = disk.run_on_a_disk(self, pages, *self.command, *arguments)
        self.arrive_somewhere(result, results, states)

    def run_two_at_once(self):
        runs = [self.random.choice((*CHOICES, ["--restore"])) for _ in range(2)]
        results, between = [], []
        for order in permutations((0, 1)):
            ways = [({}, self.model)]
            for number in order:
                ways = [({**statuses, number: status}, after) for statuses, model in ways
                        for status, afters in [self.expect(model, runs[number])] for after in afters]
                between += [after.now for _, after in ways]
            results += ways
        self.say("at once", *runs)
        said = dict(enumerate(status for _, status in self.together(*runs)))
        self.arrive([after for statuses, after in results if statuses == said], *between)

    def expect(self, model, run):
        if run == ["--restore"]:
            return model.restore()
        return model.deploy(run, self.shipped_file, False, self.changed)

    def verify(self):
        paths = self.random.choice(CHOICES)
        self.say("--verify", *paths)
        status = self.run_again("--verify", *paths).status
        now = self.model.now
        if now.is_sound():
            done = all(now.registered(path, self.shipped_file) == now for path in paths)
            # What a killed program left can only be rolled back by somebody who may write.
            torn = self.inside(DATABASE + "-journal").exists() and status == DAMAGED
            self.assertEqual(status == ALL_DONE, done and not torn)
        else:
            self.assertNotEqual(status, ALL_DONE)
        self.arrive([self.model])

    # What others do

    def another_program(self):
        now, (action, number) = self.model.now, (self.random.random(), self.random.randrange(100))
        if action < 0.08:
            self.say("a damaged database", number)
            self.remove_database()
            self.database.write_bytes(b"%d " % number * 1000)
        elif action < 0.14:
            self.say("no database")
            self.remove_database()
        elif action < 0.25:
            self.say("another file", number)
            self.copied.unlink(missing_ok=True)
            if number % 3:
                self.copied.write_bytes(b"%d" % number)
        elif now.is_sound():
            sql = self.random.choice(FOREIGN).format(number)
            self.say(sql)
            self.change(sql)
        self.model = self.model._replace(now=State.of(self.present()))
        self.changed = self.model.begun != ()

    def remove_database(self):
        for file in self.database.parent.glob("ExMan.db*"):
            file.unlink()

    def plant(self):
        self.say("leftovers are planted")
        self.backups.mkdir(parents=True, exist_ok=True)
        self.backups.chmod(0o700)
        for folder in (self.own / name for name in (*GOES, *(f"Backups/{name}" for name in STAYS))):
            folder.mkdir(parents=True, exist_ok=True)
            (folder / "ExMan.db").write_text("planted")
        self.planted = set(STAYS)

    # The whole

    def finish(self):
        """In the end the way back still exists, and so does the way to the very first state."""
        self.say("the end")
        status, results = self.model.restore()
        result = self.run_again("--restore")
        self.assertEqual(result.status, status, result.err.decode())
        self.arrive(results)
        for name in [backup.name for backup in self.all_backups()][:1]:
            _, results = self.model.restore(self.saved[name][1])
            result = self.run_again("--restore", name)
            self.assertEqual(RESTORED.fullmatch(result.out)[1].decode(), name)
            self.arrive(results)

    def run_sequence(self, seed):
        steps = {self.run_undisturbed: 5, self.run_killed: 5, self.run_failing: 2, self.verify: 1,
                 self.run_on_a_full_disk: 1, self.run_two_at_once: 1, self.another_program: 4, self.plant: 1}
        self.begin_with(seed)
        for step in self.random.choices(list(steps), steps.values(), k=self.random.randint(3, 9)):
            step()
        self.finish()

    def test_random_sequences(self):
        for seed in range(SEED, SEED + SEQUENCES):
            try:
                self.run_sequence(seed)
            except Exception as error:
                steps = "\n".join(self.said)
                raise self.failureException(
                    f"the sequence with the seed {seed}:\n{steps}\n{error}\nto repeat it: "
                    f"TAMSEL_SEED={seed} TAMSEL_SEQUENCES=1 python3 -B -m unittest {self.id()}") from error
        self.print_figure(f"{SEQUENCES} sequences, from the seed {SEED} on")


@slow
class SequencesWithAWriteAheadLog(Sequences):
    journal = "wal"
