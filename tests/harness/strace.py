"""Runs under strace, with something happening at one of their system calls."""

import re
from collections import Counter

CALL = re.compile(r"^(\w+)\((.*)$", re.MULTILINE)
HAPPENED = re.compile(r"\(INJECTED\)|^\+\+\+ killed by|^--- SIGTERM", re.MULTILINE)


class Traced:
    """A test with a shell, a command and its arguments. It says how the machine is reset before a
    run, and judges a run to which something has happened."""

    is_steady = True  # each run makes the same calls

    def trace(self, *options):
        """A run from the beginning, under strace, which does not watch the programs that it starts;
        its Result and the trace."""
        self.need("strace")
        self.reset()
        log = self.folder / "trace"
        result = self.shell.run("strace", "-qq", "-s", "4096", "-o", log, *options,
                                *self.command, *self.arguments)
        return result, log.read_text(errors="replace")

    def calls(self, kinds="all"):
        """The system calls of an undisturbed run from main on, as name, number and arguments. What
        the loader and the runtime library do before that is not the program's doing."""
        result, trace = self.trace()
        self.assertEqual(result.status, 0, result)
        names = {name for name, _ in CALL.findall(self.trace("-e", f"trace={kinds}")[1])}
        numbers, found, started = Counter(), [], False
        for name, text in CALL.findall(trace):
            numbers[name] += 1
            if started and name in names:
                found.append((name, numbers[name], text))
            # The loader unmaps its cache when it is done.
            started = started or name == "munmap"
        self.assertTrue(started)
        return found

    def inject(self, fault, calls):
        """Lets it happen at each of these calls, in a run of its own."""
        hit = 0
        for name, number, text in calls:
            result, trace = self.trace("-e", f"trace={name}", "-e", f"inject={name}:{fault}:when={number}")
            if HAPPENED.search(trace):
                hit += 1
                with self.subTest(call=name, number=number, text=text, fault=fault):
                    self.judge(result, name)
        # One that is not steady need not make any call of a kind.
        least = max(1, len(calls)) if self.is_steady else min(len(calls), max(1, len(calls) * 0.7 - 1))
        self.assertGreaterEqual(hit, least)
