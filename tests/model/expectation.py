"""A few lines that know what must be in the database, and what --restore must bring back."""

import hashlib
from typing import NamedTuple, Optional

from harness.deploy import ALL_DONE, DAMAGED, NO_DATABASE, NOT_RESTORED
from harness.promises import TABLES, product, product_rows


def ours(path):
    """The rows of a registration."""
    return {(table, *row) for table, rows in zip(TABLES, product_rows(path)) for row in rows}


class State(NamedTuple):
    """What the Extension Manager has: its rows, or the bytes of something that is not a database, or None."""

    rows: object
    mode: Optional[int]
    file: object  # content and mode of XManConfigV2.xml, or None

    def __repr__(self):
        """Short enough to see at a glance which of them are the same."""
        rows, file = self.rows, self.file and self.file[0]
        digest = hashlib.sha1(repr(sorted(rows) if self.is_sound() else rows).encode()).hexdigest()[:6]
        ours = sorted(row[1] for row in rows if row[0] == TABLES[0]) if self.is_sound() else "unsound"
        return f"<{digest} {ours} {file and len(file)}>"

    @classmethod
    def of(cls, present):
        (content, mode), file = present
        if isinstance(content, tuple):
            content = frozenset((table, *map(str, row[1:]))
                                for table, rows in content[1].items() for row in rows)
        return cls(content, mode, file)

    def is_sound(self):
        return isinstance(self.rows, frozenset)

    def others(self, paths):
        """The rows of products other than these applications'."""
        numbers = {product(path) for path in paths}
        return {row for row in self.rows if row[1] not in numbers} if self.is_sound() else self.rows

    def registered(self, path, shipped, replace=False):
        """The state with an application registered as well."""
        rows = frozenset(self.others([path]) | ours(path))
        return State(rows, self.mode, shipped if replace or self.file is None else self.file)


class Model(NamedTuple):
    """What is there; the state before the last registration, if there was one; and its
    applications, if it has not finished."""

    now: State
    goal: Optional[State] = None
    begun: tuple = ()

    def half_done(self, shipped):
        """The applications of a registration that was cut off, unless all of them are registered."""
        paths = [path for path in self.begun if not path.startswith("+")]
        whole = self.now.is_sound() and self.now.file and all(
            self.now.registered(path, shipped) == self.now for path in paths)
        return [] if whole else paths

    def base(self, shipped):
        """Where the next registration begins: what is half done is rolled back first."""
        paths = self.half_done(shipped)
        if not paths or not self.now.is_sound():
            return self.now
        rows = self.now.others(paths) | (self.goal.rows - self.goal.others(paths))
        is_ours = self.now.file and self.now.file[0] == shipped[0] and paths == list(self.begun)
        return State(frozenset(rows), self.now.mode, self.goal.file if is_ours else self.now.file)

    def is_explained(self, shipped):
        """Whether all that is there of what is half done comes from before or from Tamsel, so that
        rolling back loses nothing."""
        if not self.half_done(shipped) or not self.now.is_sound():
            return False
        known = self.goal.rows | {row for path in self.half_done(shipped) for row in ours(path)}
        return self.now.rows - self.now.others(self.half_done(shipped)) <= known

    # What an undisturbed run leads to: its status, and the Models that may hold after it.

    def deploy(self, paths, shipped, replace, changed=False):
        """A second attempt rolls back to before the first one, unless somebody else has changed
        something since then."""
        if self.now.rows is None:
            return NO_DATABASE, [self]
        if not self.now.is_sound():
            return DAMAGED, [self]
        base = after = self.base(shipped)
        for path in paths:
            after = after.registered(path, shipped, replace)
        again = set(self.half_done(shipped)) == set(paths)
        results = [Model(after, self.goal)] if again or after == base else []
        if not again and after != base or changed:
            results.append(Model(after, base))
        return ALL_DONE, results

    def restore(self, state=None):
        state = state or self.goal
        if state is None:
            return NOT_RESTORED, [self]
        return ALL_DONE, [Model(state, self.goal)]
