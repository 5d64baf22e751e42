"""Folders as they are at one moment, to be compared and brought back."""

import os
import re
import shutil
import stat

TIME = re.compile(r"-\d{4}-\d\d-\d\dT\d{6}Z")


def take(folder):
    """Everything below a folder: for each path its mode, its content, and where it links to."""
    found, first = {}, {}
    for path in sorted(folder.rglob("*")):
        status = path.lstat()
        content, same = None, None
        if stat.S_ISLNK(status.st_mode):
            content = os.readlink(path)
        elif stat.S_ISREG(status.st_mode):
            content = path.read_bytes()
            same = first.setdefault(status.st_ino, str(path.relative_to(folder)))
        found[str(path.relative_to(folder))] = (status.st_mode, content, same)
    return found


def put(folder, found):
    """Makes a folder what it was. It stays the same folder, since a sandbox may have bound it."""
    for path in folder.iterdir():
        if path.is_dir() and not path.is_symlink():
            shutil.rmtree(path)
        else:
            path.unlink()
    for name, (mode, content, same) in found.items():
        path = folder / name
        if stat.S_ISDIR(mode):
            path.mkdir()
        elif stat.S_ISLNK(mode):
            path.symlink_to(content)
            continue
        elif same != name:
            os.link(folder / same, path)
        else:
            path.write_bytes(content)
        path.chmod(stat.S_IMODE(mode))


def key(found):
    """What is the same for two moments that differ only in the clock."""
    return tuple((TIME.sub("-", name), mode, content, same and TIME.sub("-", same))
                 for name, (mode, content, same) in found.items())
