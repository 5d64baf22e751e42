"""Each system call of a registration by tamsel-deploy fails once, and it is killed at each."""

from harness.machine import slow
from harness.points import Points
from harness.promises import WORLDS, PromiseTest


class Registration(Points):
    def setUp(self):
        super().setUp()
        self.arguments = [*self.options, *self.paths]


for name, world in WORLDS.items():
    globals()[name] = slow(type(name, (Registration, PromiseTest), world))
