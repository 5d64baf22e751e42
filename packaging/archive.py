"""Packs a folder into an archive whose bytes depend only on the files: not on the day, the folder,
the user or the order in which the folder is read.

usage: python3 packaging/archive.py FOLDER ARCHIVE SECONDS

  ARCHIVE  the .tar.gz to write
  SECONDS  the time that all files get, in seconds since 1970
"""

import gzip
import pathlib
import sys
import tarfile

folder, archive, seconds = pathlib.Path(sys.argv[1]), sys.argv[2], int(sys.argv[3])


def made_uniform(member):
    member.mtime = seconds
    member.uid = member.gid = 0
    member.uname = member.gname = "root"
    member.mode = 0o755 if member.mode & 0o100 else 0o644
    return member


with open(archive, "wb") as file, \
        gzip.GzipFile("", "wb", 9, file, mtime=seconds) as compressed, \
        tarfile.open(fileobj=compressed, mode="w", format=tarfile.USTAR_FORMAT) as tar:
    for path in [folder, *sorted(folder.rglob("*"))]:
        tar.add(path, path.relative_to(folder.parent), recursive=False, filter=made_uniform)
