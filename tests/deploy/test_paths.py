import json
import os

from harness.deploy import ALL_DONE, INCOPY, INDESIGN, NO_APPLICATION, DeployTest

QUOTED = "Tamsel cannot register a path with a quote or a line break"
NAME = "Adobe InDesign 2020.app"


class Spellings(DeployTest):
    """An application's path as the shell's cd and pwd would give it."""

    def setUp(self):
        super().setUp()
        self.add_applications(INDESIGN)
        self.here = self.applications / "Adobe InDesign 2020"

    def assert_spelling(self, given, path, **how):
        with self.subTest(given):
            self.assert_refuses(["--dry-run", "--", given], ALL_DONE, out=f"would register: {path}\n", **how)

    def test_slashes_and_dots(self):
        for given in (INDESIGN + "/", INDESIGN + "///", "/" + INDESIGN, INDESIGN.replace("/", "//"),
                      INDESIGN.replace("/", "/./"), "/Applications/../" + INDESIGN, "/.." + INDESIGN,
                      "/Applications/Adobe InDesign 2020/../Adobe InDesign 2020/" + NAME):
            self.assert_spelling(given, INDESIGN)

    def test_relative_ones(self):
        self.add_applications(self.here / "-x" / NAME, self.here / "..." / NAME)
        for given, path in ((NAME, self.here / NAME), ("./" + NAME, self.here / NAME),
                            (NAME + "//", self.here / NAME),
                            ("./-x/" + NAME + "//", self.here / "-x" / NAME),
                            ("-x/" + NAME, self.here / "-x" / NAME),
                            (".../" + NAME, self.here / "..." / NAME),
                            ("../Adobe InDesign 2020/" + NAME, self.here / NAME)):
            self.assert_spelling(given, path, cwd=self.here)

    def test_links_are_kept_as_they_are_spelled(self):
        link = self.folder / "link"
        link.symlink_to(self.here)
        self.assert_spelling(f"{link}/{NAME}", f"{link}/{NAME}")
        self.assert_spelling(f"{link}/../link/./{NAME}", f"{link}/{NAME}")
        (self.folder / NAME).symlink_to(self.here / NAME)
        self.assert_spelling(str(self.folder / NAME), self.folder / NAME)

    def test_the_working_directory_as_the_shell_has_it(self):
        link = self.folder / "link"
        link.symlink_to(self.here)
        (self.folder / "other").mkdir()
        for told, path in ((link, link), (self.here, self.here), (self.folder / "other", self.here),
                           ("link", self.here), (f"{link}/.", self.here), ("", self.here)):
            self.assert_spelling(NAME, path / NAME, cwd=self.here, environment={"PWD": told})
        self.assert_spelling(NAME, self.here / NAME, cwd=self.here, before=["env", "-u", "PWD"])

    def test_the_registered_path_is_the_normalised_one(self):
        self.assert_deploys(["//Applications/./Adobe InDesign 2020//" + NAME + "/"], ALL_DONE,
                            f"registered: {INDESIGN}\n")
        self.assertEqual(self.rows("SELECT AppPath FROM Tb_ProductInfoV2 WHERE ProdID = 190"),
                         [("/Applications/Adobe InDesign 2020",)])
        self.assert_verified(f"registered: {INDESIGN}\n")

    def test_characters_of_all_kinds(self):
        for folder in ('a b', 'a"b', "$HOME", "%s%n", "`id`", "a;b", "ä\u0308é☃", "-r", "*", "a&b|c", "a\tb",
                       "\x01", "a\\b", "\U0001F4A9"):
            path = self.folder / folder / NAME
            self.add_applications(path)
            escaped = str(path).replace("\\", "\\\\").replace("\t", "\\x09").replace("\x01", "\\x01")
            self.assert_deploys([path], ALL_DONE, f"registered: {escaped}\n")
            self.assert_verified(f"registered: {escaped}\n", arguments=[path])
            self.assertEqual(self.rows("SELECT AppPath FROM Tb_ProductInfoV2 WHERE ProdID = 190"),
                             [(str(path.parent),)])


class Refused(DeployTest):
    """What cannot be registered gets its line, with its path as given; the others go on."""

    def setUp(self):
        super().setUp()
        self.add_applications(INDESIGN, INCOPY)

    def assert_reason(self, reason, path, shown=None):
        for command in ([], ["--dry-run"], ["--verify"]):
            with self.subTest(path, command=command):
                before = self.state()
                self.assert_deploys([*command, path], NO_APPLICATION, f"{reason}: {shown or path}\n")
                self.assertEqual(self.state(), before)

    def test_not_found(self):
        (self.applications / "Adobe InDesign 2020.app").write_text("a file")
        for path in (INDESIGN.replace("2020", "2021"), "", "Adobe InDesign 2020.app", "//missing/x.app/"):
            self.assert_reason("not found", path)

    def test_not_an_application_bundle(self):
        bare = "/Applications/Bare/Adobe InDesign 2020.app"
        self.inside(bare).mkdir(parents=True)
        for path in ("/Applications/Adobe InDesign 2020", "/Applications/", "/", bare, bare + "//"):
            self.assert_reason("not an application bundle", path)
        (self.inside(bare) / "Contents").mkdir()
        self.assert_reason("not an application bundle", bare)
        (self.inside(bare) / "Contents" / "Info.plist").mkdir()
        self.assert_reason("not an application bundle", bare)

    def test_not_supported(self):
        for name in ("Adobe Photoshop 2020", "adobe InDesign 2020", "Adobe InDesign 2020 ", "Adobe InDesign",
                     "Adobe InDesign 2020 Win64 Win64", ""):
            path = f"/Applications/{name}.app"
            self.add_applications(path)
            self.assert_reason("not supported", path)

    def test_a_quote_or_a_line_break(self):
        for name in ("it's", "a\nb", "a\n", "\n"):
            path = str(self.folder / name / NAME)
            self.add_applications(path)
            self.assert_reason(QUOTED, path, path.replace("\n", "\\n"))
        for path in ("missing's.app", "x\n.app"):
            self.assert_reason(QUOTED, path, path.replace("\n", "\\n"))

    def test_a_quote_in_the_working_directory(self):
        (self.folder / "it's").mkdir()
        self.add_applications(self.folder / "it's" / NAME)
        self.assert_refuses(["--dry-run", NAME], NO_APPLICATION, out=f"{QUOTED}: {NAME}\n",
                            cwd=self.folder / "it's")

    def test_given_twice(self):
        other = self.folder / "other" / NAME
        self.add_applications(other)
        for second in (INDESIGN, INDESIGN + "/", "/" + INDESIGN, other):
            for command in ([], ["--dry-run"], ["--verify"]):
                with self.subTest(second, command=command):
                    self.assert_refuses([*command, INDESIGN, second], NO_APPLICATION,
                                        out=f"given twice: {INDESIGN}\ngiven twice: {second}\n")

    def test_given_three_times_among_others(self):
        self.add_applications("/Applications/Adobe InDesign 2020 Win64.app")
        out = (f"given twice: {INDESIGN}\nregistered: {INCOPY}\ngiven twice: {INDESIGN}/\n"
               f"registered: /Applications/Adobe InDesign 2020 Win64.app\ngiven twice: {INDESIGN}\n")
        self.assert_deploys([INDESIGN, INCOPY, INDESIGN + "/", "/Applications/Adobe InDesign 2020 Win64.app",
                             INDESIGN], NO_APPLICATION, out)
        self.assertEqual(self.rows("SELECT * FROM Tb_ProductInfoV2 WHERE ProdID = 190"), [])

    def test_the_others_are_registered_all_the_same(self):
        out = (f"not found: /missing.app\nregistered: {INDESIGN}\n"
               f"not an application bundle: /Applications\nregistered: {INCOPY}\n")
        arguments = ["/missing.app", INDESIGN, "/Applications", INCOPY]
        self.assert_deploys(arguments, NO_APPLICATION, out)
        self.assert_verified(out, NO_APPLICATION, arguments=arguments)

    def test_bytes_that_are_no_text(self):
        for name, shown in ((b"\xff", "\\xFF"), (b"a\xc3", "a\\xC3"), (b"\xed\xa0\x80", "\\xED\\xA0\\x80"),
                            (b"\xc0\xaf", "\\xC0\\xAF"), (b"\xf4\x90\x80\x80", "\\xF4\\x90\\x80\\x80"),
                            (b"\xc2\x85", "\\xC2\\x85"), (b"\x7f", "\\x7F"), (b"\x1b[2J", "\\x1B[2J"),
                            (b"\r", "\\x0D"), (b"\\n", "\\\\n"), ("ä☃".encode(), "ä☃"),
                            (b"\xe2\x98", "\\xE2\\x98"), (b"\xf0\x9f\x92\xa9", "\U0001F4A9")):
            path = b"/missing/" + name + b".app"
            self.assert_refuses(["--verify", path], NO_APPLICATION, out=f"not found: /missing/{shown}.app\n")
            result = self.deploy("--verify", "--json", path)
            application, = json.loads(result.out)["applications"]
            self.assertEqual(application["path"], f"/missing/{shown}.app")

    def test_a_path_of_any_length(self):
        deep = self.folder / "/".join(["d" * 200] * 10) / NAME
        os.makedirs(deep / "Contents")
        (deep / "Contents" / "Info.plist").write_text("x")
        self.assert_deploys([deep], ALL_DONE, f"registered: {deep}\n")
        self.assert_refuses(["--dry-run", "/" + "x" * 5000], NO_APPLICATION,
                            out=f"not found: /{'x' * 5000}\n")
