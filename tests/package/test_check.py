"""The check of a package accepts what is right and notices each thing that is not."""

import os
import shutil
import tarfile

from package.archive import APPLE, INTEL, NAME, NOON, TEXTS, ArchiveTest
from package.macho import universal


class CheckTest(ArchiveTest):
    def assert_notices_program(self, what, *slices, **how):
        with self.subTest(what):
            (self.unpacked / "Tamsel").write_bytes(universal(slices, **how))
            self.pack()
            self.assert_notices(what)


class Program(CheckTest):
    def test_a_right_one(self):
        (self.unpacked / "Tamsel").write_bytes(universal([INTEL, APPLE]))
        self.pack()
        finished = self.check()
        self.assertEqual((finished.stderr, finished.returncode), ("", 0))
        self.assertIn("all is as it should be", finished.stdout)

    def test_the_program_of_this_system(self):
        self.pack()
        self.assert_notices("the program's first bytes: '0x7f454c46'")

    def test_what_is_wrong_with_the_slices(self):
        self.assert_notices_program("the processors", INTEL)
        self.assert_notices_program("the processors", APPLE)
        self.assert_notices_program("the rest of a page before a slice", INTEL, APPLE, aligned=False)

    def test_what_is_wrong_in_a_slice(self):
        for change, what in (({"kind": 6}, "the kind of file"),
                             ({"flags": 0x85}, "the flag for loading anywhere"),
                             ({"libraries": INTEL.libraries + ("/opt/lib/libother.dylib",)},
                              "unknown libraries: {'/opt/lib/libother.dylib'}"),
                             ({"libraries": INTEL.libraries[1:]}, "SQLite is among the libraries"),
                             ({"oldest": (12, 0)}, "the oldest macOS: (12, 0)"),
                             *(({"texts": TEXTS[:number] + TEXTS[number + 1:]}, "the text ")
                               for number in range(len(TEXTS)))):
            self.assert_notices_program(what, INTEL._replace(**change), APPLE)
            self.assert_notices_program(what, INTEL, APPLE._replace(**change))
        self.assert_notices_program("the platform", INTEL, APPLE._replace(platform=2))

    def test_what_is_wrong_with_the_signature(self):
        for change, what in (({"signed": False}, "the signature is there"),
                             ({"tampered": True}, "the hash of page 2"),
                             ({"signature_flags": 0}, "the signature's flag for no identity")):
            self.assert_notices_program(what, INTEL, APPLE._replace(**change))

    def test_what_is_wrong_in_a_header(self):
        code, signature, directory = b"\xcf\xfa\xed\xfe\x0c", b"\xfa\xde\x0c\xc0", b"\xfa\xde\x0c\x02"
        for header, offset, what in ((code, 0, "a slice's first bytes"), (code, 4, "a slice's processor"),
                                     (signature, 0, "the signature's first bytes"),
                                     (b"\x1d\0\0\0\x10\0\0\0", 8, "where the signature lies"),
                                     (b"\x1d\0\0\0\x10\0\0\0", 12, "where the signature lies"),
                                     (directory, 0, "the number of code directories"),
                                     (directory, 31, "the number of signed pages"),
                                     (directory, 35, "where the signed code ends"),
                                     (directory, 36, "the kind and size of hashes"),
                                     (directory, 37, "the kind and size of hashes")):
            with self.subTest(what):
                program = bytearray(universal([INTEL, APPLE]))
                program[program.index(header) + offset] ^= 1
                (self.unpacked / "Tamsel").write_bytes(program)
                self.pack()
                self.assert_notices(what)


class Archive(CheckTest):
    def setUp(self):
        super().setUp()
        (self.unpacked / "Tamsel").write_bytes(universal([INTEL, APPLE]))

    def test_the_list_of_files(self):
        (self.unpacked / ".DS_Store").write_text("x")
        self.pack()
        self.assert_notices("the files: ")
        (self.unpacked / ".DS_Store").unlink()
        (self.unpacked / "install").chmod(0o644)
        self.pack()
        self.assert_notices("the files: ")

    def test_the_folder(self):
        self.pack()
        self.archive = self.archive.rename(self.folder / "tamsel-1.0.3-macos-universal.tar.gz")
        self.write_sums()
        self.assert_notices("the folder: ")

    def test_the_checksum(self):
        self.pack()
        self.archive.write_bytes(self.archive.read_bytes() + b"\0")
        self.assert_notices("SHA256SUMS: ")

    def test_owners(self):
        def somebodys(member):
            member.uid, member.gid, member.mtime = 501, 20, NOON
            return member

        with tarfile.open(self.archive, "w:gz") as tar:
            for path in [self.unpacked, *sorted(self.unpacked.rglob("*"))]:
                tar.add(path, path.relative_to(self.folder), recursive=False, filter=somebodys)
        self.write_sums()
        self.assert_notices("the owners: {(501, 20)}")

    def test_its_bytes_depend_on_the_files_alone(self):
        self.pack()
        first = self.archive.read_bytes()
        # The time in the header of the compression, which would otherwise be the present.
        self.assertEqual(first[4:8], NOON.to_bytes(4, "little"))
        again = self.folder / "later" / NAME
        shutil.copytree(self.unpacked, again)
        for number, path in enumerate(again.rglob("*")):
            os.utime(path, (number, number))
            path.chmod(path.stat().st_mode & 0o700)
        self.unpacked = again
        self.pack()
        self.assertEqual(self.archive.read_bytes(), first)
        self.pack(NOON + 1)
        self.assertNotEqual(self.archive.read_bytes(), first)
