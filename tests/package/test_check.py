"""The check of a package accepts what is right and notices each thing that is not."""

import os
import shutil
import tarfile

from harness.machine import BUILD, VERSION
from package.archive import APPLE, INTEL, NAME, NOON, PROGRAMS, ArchiveTest
from package.macho import universal

CODE, SIGNATURE, DIRECTORY = b"\xcf\xfa\xed\xfe\x0c", b"\xfa\xde\x0c\xc0", b"\xfa\xde\x0c\x02"
SIGNATURE_COMMAND = b"\x1d\0\0\0\x10\0\0\0"


class Program(ArchiveTest):
    def assert_notices_program(self, what, content, program="Tamsel"):
        with self.subTest(what):
            right = (self.unpacked / program).read_bytes()
            self.put(program, content)
            self.pack()
            self.assert_notices(what, program)
            self.put(program, right)

    def test_each_of_them(self):
        for program in PROGRAMS:
            self.assert_notices_program("the hash of page 2",
                                        universal([INTEL, APPLE._replace(tampered=True)]), program)

    def test_right_ones(self):
        self.pack()
        finished = self.check()
        self.assertEqual((finished.stdout, finished.stderr, finished.returncode),
                         (f"{self.archive}: all is as it should be\n", "", 0))

    def test_the_program_of_this_system(self):
        self.assert_notices_program("llvm-lipo: error: ", (BUILD / "Tamsel").read_bytes())

    def test_what_is_wrong_with_the_slices(self):
        self.assert_notices_program("the processors: ['x86_64'] ", universal([INTEL]))
        self.assert_notices_program("the processors: ['arm64'] ", universal([APPLE]))
        self.assert_notices_program("where a slice begins", universal([INTEL, APPLE], aligned=False))

    def test_what_is_wrong_in_a_slice(self):
        for change, what in (({"kind": 8}, "the kind of file"),
                             ({"flags": 0x85}, "the flag for loading anywhere"),
                             ({"libraries": INTEL.libraries + ("/opt/lib/libother.dylib",)},
                              "unknown libraries: {'/opt/lib/libother.dylib'}"),
                             ({"libraries": INTEL.libraries[1:]}, "SQLite is among the libraries"),
                             ({"oldest": (12, 0)}, "the oldest macOS: '12.0'"),
                             ({"texts": ("1.0.1",)}, f"the text '{VERSION}' is there")):
            self.assert_notices_program(what, universal([INTEL._replace(**change), APPLE]))
            self.assert_notices_program(what, universal([INTEL, APPLE._replace(**change)]))
        self.assert_notices_program("the platform: ios", universal([INTEL, APPLE._replace(platform=2)]))

    def test_what_is_wrong_with_the_signature(self):
        for change, what in (({"signed": False}, "the signature is there"),
                             ({"tampered": True}, "the hash of page 2"),
                             ({"signature_flags": 0}, "the signature's flag for no identity")):
            self.assert_notices_program(what, universal([INTEL, APPLE._replace(**change)]))

    def test_what_is_wrong_in_a_header(self):
        for header, offset, what in ((CODE, 0, "llvm-lipo: error: "),
                                     (CODE, 4, "llvm-lipo: error: "),
                                     (SIGNATURE, 0, "the signature's first bytes"),
                                     (SIGNATURE_COMMAND, 8, "llvm-lipo: error: "),
                                     (SIGNATURE_COMMAND, 12, "where the signature lies"),
                                     (DIRECTORY, 0, "the number of code directories"),
                                     (DIRECTORY, 31, "the number of signed pages"),
                                     (DIRECTORY, 35, "where the signed code ends"),
                                     (DIRECTORY, 36, "the kind and size of hashes"),
                                     (DIRECTORY, 37, "the kind and size of hashes")):
            program = bytearray(universal([INTEL, APPLE]))
            program[program.index(header) + offset] ^= 1
            self.assert_notices_program(what, program)


class Archive(ArchiveTest):
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
        self.archive = self.archive.rename(self.folder / "tamsel-9.9.9-macos-universal.tar.gz")
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
