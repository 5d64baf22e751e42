"""Each system call of a restore, a rehearsal and a verification fails once, and they are killed at each."""

from faults.test_deploy import Points
from harness import snapshot
from harness.deploy import ALL_DONE, INCOPY, OLD_FILE
from harness.machine import slow
from harness.promises import SIDES, STATUSES, PromiseTest
from harness.registration import INDESIGN
from harness.restores import RestoreTest


class Look(Points):
    """A command that changes nothing, and never finds what does not exist."""

    arguments = ("--dry-run", INDESIGN)
    found = f"would register: {INDESIGN}\n"
    is_registered = is_torn = False

    def setUp(self):
        super().setUp()
        if self.is_registered:
            self.assert_registers()
            self.before = self.condition()
        if self.is_torn:
            self.leave_hot_journal()
        self.begin = snapshot.take(self.private_library)

    def check(self, result):
        self.assertIn(result.status, STATUSES, result)
        self.assertTrue(result.status != ALL_DONE or result.out.decode() == self.found, result)
        self.assertFalse(not self.is_registered and result.out.startswith(b"registered: "), result)

    def assert_recoverable(self, moment):
        self.assertEqual(self.condition(), self.before)
        # Whoever reads a database may recover it, and a write-ahead log brings files of its own.
        names = tuple("ExMan.db" + side for side in ("", *SIDES))
        self.assertEqual({name: found for name, found in moment.items() if not name.endswith(names)},
                         {name: found for name, found in self.begin.items() if not name.endswith(names)})
        self.judged.add(snapshot.key(moment))


RESTORES = {
    "Restore": {},
    "RestoreOfTheLastOfTwoWithAWriteAheadLog": {"journal": "wal", "file": OLD_FILE, "earlier": (INCOPY,)},
    "RestoreOverADamagedDatabase": {"damage": "damaged", "file": OLD_FILE},
    "RestoreOverAHotJournal": {"damage": "hot journal"},
    "RestoreWithoutADatabase": {"journal": "wal", "damage": "missing"},
}
LOOKS = {
    "DryRunOfTwoWithAWriteAheadLog": {
        "journal": "wal", "repair": True, "file": OLD_FILE,
        "arguments": ("--dry-run", "--replace-file", INDESIGN, INCOPY),
        "found": f"would register: {INDESIGN}\nwould register: {INCOPY}\n"},
    "DryRunOfAHalfWrittenDatabase": {"is_torn": True},
    "Verification": {"is_registered": True, "arguments": ("--verify", INDESIGN),
                     "found": f"registered: {INDESIGN}\n"},
}
for name, world in RESTORES.items():
    globals()[name] = slow(type(name, (Points, RestoreTest), world))
for name, world in LOOKS.items():
    globals()[name] = slow(type(name, (Look, PromiseTest), world))
