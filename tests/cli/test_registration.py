import xml.etree.ElementTree

from harness.machine import BUILD, expected
from harness.registration import CONFIGURATION_ROWS, INDESIGN, PRODUCTS, RegistrationTest, file_name


class EachProduct(RegistrationTest):
    """A registration of each product, and its repair, whatever keys the tables have."""

    def register_all(self, repeated_rows):
        for number, application in PRODUCTS.items():
            with self.subTest(application):
                others = self.other_rows(number)
                path = f"/Applications/{application}/{application}.app"
                for times in (1, repeated_rows):
                    result = self.run_tamsel("-r", path)
                    self.assert_result(result, expected(file_name(application) + ".out"))
                    info, *rows = expected(file_name(application) + ".rows").splitlines(keepends=True)
                    self.assertEqual(self.product_rows(number),
                                     info * times + b"".join(rows) * times)
                    self.assertEqual(self.other_rows(number), others)
                    self.assert_copied()
                    self.assert_nothing_left_open()
        self.assertEqual(self.rows("PRAGMA integrity_check"), [("ok",)])

    def test_with_primary_keys(self):
        self.register_all(repeated_rows=1)

    def test_with_unique_indexes_and_text_numbers(self):
        self.create_database("unique-index")
        self.register_all(repeated_rows=1)

    def test_without_keys(self):
        self.create_database("without-keys")
        self.register_all(repeated_rows=2)

    def test_with_columns_of_others(self):
        self.create_database("extra-columns")
        self.register_all(repeated_rows=1)
        self.assertEqual(self.rows("SELECT DISTINCT Installed FROM Tb_ProductInfoV2"), [(1,)])
        self.assertEqual(self.rows("SELECT DISTINCT Origin FROM Tb_XManConfig"), [("vendor",)])


class Repair(RegistrationTest):
    def test_replaces_damaged_rows_and_adds_missing_ones(self):
        self.run_tamsel("-r", INDESIGN)
        whole = sorted(self.product_rows("190").splitlines())
        self.change("UPDATE Tb_ProductInfoV2 SET AppPath = '/elsewhere', SuiteID = NULL WHERE ProdID = 190;"
                    "UPDATE Tb_XManConfig SET KeyValue = '32' WHERE ProdID = 190 AND KeyName = 'bit';"
                    "DELETE FROM Tb_XManConfig WHERE ProdID = 190 AND KeyName LIKE '$%';")
        self.run_tamsel("-r", INDESIGN)
        self.assertEqual(sorted(self.product_rows("190").splitlines()), whole)

    def test_moves_the_registration_with_the_application(self):
        self.run_tamsel("-r", INDESIGN)
        self.run_tamsel("-r", "/Volumes/Apps/Adobe InDesign 2020.app")
        self.assertEqual(self.folder_value("190"), [("/Volumes/Apps",)] * 2)


class Paths(RegistrationTest):
    """The folder and the name that a path gives."""

    def assert_registered(self, path, folder, application="Adobe InDesign 2020", number="190"):
        result = self.run_tamsel("-r", path)
        self.assert_result(result, expected(file_name(application) + ".out"))
        self.assertEqual(self.folder_value(number), [(folder,)] * 2)
        self.assert_copied()

    def assert_not_registered(self, path, name):
        before = self.database.read_bytes()
        self.assert_result(self.run_tamsel("-r", path), expected(name))
        self.assertEqual(self.database.read_bytes(), before)
        self.assert_copied()

    def unsupported(self, name):
        """What the program says of an application that it does not support."""
        return expected("unsupported.out").replace(b"Adobe Photoshop 2020", name)

    def test_a_bundle_in_its_folder(self):
        self.assert_registered(INDESIGN, "/Applications/Adobe InDesign 2020")

    def test_the_folder_of_the_bundle_counts_as_an_application(self):
        self.assert_registered("/Applications/Adobe InDesign 2020", "/Applications")

    def test_any_extension(self):
        self.assert_registered("/a.b/Adobe InDesign 2020.exe", "/a.b")
        self.assert_registered("/c/Adobe InDesign 2020.", "/c")

    def test_a_bundle_under_the_root_has_an_empty_folder(self):
        self.assert_registered("/Adobe InDesign 2020.app", "")

    def test_the_name_alone_decides_the_platform(self):
        self.assert_registered("/a/Adobe InDesign 2020 Win64.app", "/a", "Adobe InDesign 2020 Win64", "189")

    def test_a_folder_is_taken_as_it_stands(self):
        for folder in (".", "..", "~", "a//", "/a/../b", "$HOME", "`id`", 'a"b', "%s%n", "ä\u20ac",
                       " ", "\\", "-r", "a;b", "line\nfeed", "x" * 100_000):
            with self.subTest(folder[:20]):
                self.assert_registered(folder + "/Adobe InDesign 2020.app", folder)

    def test_no_separator(self):
        for path in ("Adobe InDesign 2020.app", "Adobe InDesign 2020", "x", ""):
            with self.subTest(path):
                self.assert_not_registered(path, "file-not-found.out")

    def test_no_separator_leaves_the_whole_path_as_the_folder(self):
        # It shows only if an application has no name, and every one in the catalogue has one.
        result = self.run_inside(BUILD / "tests" / "call_main", "with-an-unnamed-application")
        self.assertEqual(result.status, 0)
        self.assertIn(b"File name found: \n\nReturn code after executing SQL: 101\n\n", result.out)
        self.assertEqual(self.folder_value("190"), [("no folder",)] * 2)

    def test_a_separator_at_the_end(self):
        for path in (INDESIGN + "/", "/", "//", "/a/"):
            with self.subTest(path):
                self.assert_not_registered(path, "file-not-found.out")

    def test_nothing_before_the_extension(self):
        self.assert_not_registered("/a/.app", "file-not-found.out")

    def test_an_unsupported_application(self):
        self.assert_not_registered("/Applications/Adobe Photoshop 2020/Adobe Photoshop 2020.app",
                                   "unsupported.out")

    def test_a_name_that_only_resembles_an_applications(self):
        for name in ("adobe indesign 2020", "ADOBE INDESIGN 2020", "Adobe InDesign 2020 ",
                     " Adobe InDesign 2020", "Adobe  InDesign 2020", "Adobe\u00a0InDesign 2020",
                     "Adobe InDesign 2020.app", "Adobe InDesign 202", "Adobe InDesign 20200",
                     "Adobe InDesign 2020 Win", "Adobe InDesign 2020 win64", "Adobe InDesign 2020 Win64 ",
                     "Adobe InDesign 2020 Mac", "Adobe InDesign", "InDesign 2020", "Adobe InDesign CC 2020",
                     "Adobe InDesign 2019", "Adobe InCopy CC 2020", "Adobe InCopy 2019", "INDESIGNCC2020MAC"):
            with self.subTest(name):
                before = self.database.read_bytes()
                result = self.run_tamsel("-r", f"/Applications/{name}.app")
                self.assert_result(result, self.unsupported(name.encode()))
                self.assertEqual(self.database.read_bytes(), before)

    def test_a_name_of_arbitrary_bytes_is_shown_as_it_stands(self):
        for name in (b"\xff\xfe", b"%s%n", b"a\nb", b"$HOME", b"'; --", b'"', b" ", b"x" * 100_000):
            with self.subTest(name[:20]):
                result = self.run_tamsel("-r", b"/a/" + name + b".app")
                self.assert_result(result, self.unsupported(name))

    def test_a_folder_that_is_no_text_is_stored_byte_by_byte(self):
        result = self.run_tamsel("-r", b"/\xff\xfe/Adobe InDesign 2020.app")
        self.assert_result(result, expected("adobe-indesign-2020.out"))
        self.assertEqual(self.rows("SELECT hex(AppPath) FROM Tb_ProductInfoV2 WHERE ProdID = 190"),
                         [("2FFFFE",)])

    def test_a_quote_in_the_folder_breaks_both_statements(self):
        self.assert_not_registered("/it's/Adobe InDesign 2020.app", "quote-in-folder.out")

    def test_a_quote_in_the_folder_can_change_the_statement(self):
        # What follows the first statement is not run; what is spliced into it is.
        path = "/a', 'xx', '8'); DELETE FROM Tb_XManConfig; --/Adobe InDesign 2020.app"
        self.run_tamsel("-r", path)
        self.assertEqual(self.rows("SELECT AppPath, LocaleInfo, SuiteID FROM Tb_ProductInfoV2"
                                   " WHERE ProdID = 190"), [("/a", "xx", 8)])
        self.assertEqual(self.rows("SELECT COUNT(*) FROM Tb_XManConfig WHERE ProdID IN (12, 1860)"), [(4,)])


class ShippedFile(RegistrationTest):
    def test_agrees_with_the_rows_that_the_program_writes(self):
        root = xml.etree.ElementTree.parse(BUILD / "Resources" / "XManConfigV2.xml").getroot()
        described = {product.get("ProdID"): {row.get("KeyName"): row.get("KeyValue") for row in product}
                     for product in root}
        written = {}
        for number, application in PRODUCTS.items():
            self.run_tamsel("-r", f"/Applications/{application}.app")
            written[number] = {key: value for _, key, value in self.rows(CONFIGURATION_ROWS, number)}
            del written[number]["$installfolder"]
        self.assertEqual(described, written)
        self.assertEqual([len(product) for product in root], [13] * 8)
