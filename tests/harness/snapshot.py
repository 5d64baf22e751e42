"""Folders as they are at one moment, to be compared and brought back."""

import os
import re
import shutil
import stat

TIME = re.compile(rb"-\d{4}-\d\d-\d\dT\d{6}Z")


def take(folder):
    """Everything below a folder: for each path its mode, its content or where it leads, and the first
    path that is the same file."""
    found, first = {}, {}
    for path in sorted(folder.rglob("*")):
        name, status = str(path.relative_to(folder)), path.lstat()
        content = None
        if stat.S_ISREG(status.st_mode):
            content = path.read_bytes()
        elif stat.S_ISLNK(status.st_mode):
            content = os.fsencode(os.readlink(path))
        found[name] = status.st_mode, content, first.setdefault(status.st_ino, name)
    return found


def put(folder, found):
    """Makes a folder what it was. It stays the same folder, since a sandbox may have bound it."""
    for path in folder.iterdir():
        if path.is_dir():
            shutil.rmtree(path)
        else:
            path.unlink()
    for name, (mode, content, same) in found.items():
        path = folder / name
        if stat.S_ISDIR(mode):
            path.mkdir()
        elif same != name:
            os.link(folder / same, path)
        else:
            path.write_bytes(content)
        path.chmod(stat.S_IMODE(mode))


def key(found):
    """What is the same for two moments that differ only in the clock."""
    def without(name):
        return TIME.sub(b"-", name.encode())
    return tuple((without(name), mode, TIME.sub(b"-", content or b""), without(same))
                 for name, (mode, content, same) in found.items())
