import xml.etree.ElementTree

from harness.machine import BUILD, expected
from harness.registration import INDESIGN, PRODUCTS, RegistrationTest, lines, registered, rows_of


class EachProduct(RegistrationTest):
    """A registration, and its repair, whatever keys the tables have."""

    def assert_registers(self, number, repeated_rows=1):
        application = PRODUCTS[number]
        others = self.other_rows(number)
        info, rows = map(lines, rows_of(application, f"/Applications/{application}"))
        for times in (1, repeated_rows):
            result = self.run_tamsel("-r", f"/Applications/{application}/{application}.app")
            self.assert_result(result, registered(application))
            self.assertEqual(self.product_rows(number), info * times + rows * times)
            self.assertEqual(self.other_rows(number), others)
            self.assert_copied()
            self.assert_nothing_left_open()

    def test_with_primary_keys(self):
        for number in PRODUCTS:
            with self.subTest(number):
                self.assert_registers(number)
        self.assertEqual(self.product_rows("190"), expected("adobe-indesign-2020.rows"))

    def test_with_unique_indexes_and_text_numbers(self):
        self.create_database("unique-index")
        self.assert_registers("190")

    def test_without_keys_a_repair_adds_the_rows_again(self):
        self.create_database("without-keys")
        self.assert_registers("190", repeated_rows=2)

    def test_with_columns_of_others(self):
        self.create_database("extra-columns")
        self.assert_registers("190")
        self.assertEqual(self.rows("SELECT DISTINCT Installed FROM Tb_ProductInfoV2"), [(1,)])
        self.assertEqual(self.rows("SELECT DISTINCT Origin FROM Tb_XManConfig"), [("vendor",)])

    def test_a_repair_replaces_damaged_rows_and_adds_missing_ones(self):
        self.run_tamsel("-r", INDESIGN)
        whole = sorted(self.product_rows("190").splitlines())
        self.change("UPDATE Tb_ProductInfoV2 SET AppPath = '/elsewhere', SuiteID = NULL WHERE ProdID = 190;"
                    "UPDATE Tb_XManConfig SET KeyValue = '32' WHERE ProdID = 190 AND KeyName = 'bit';"
                    "DELETE FROM Tb_XManConfig WHERE ProdID = 190 AND KeyName LIKE '$%';")
        self.run_tamsel("-r", INDESIGN)
        self.assertEqual(sorted(self.product_rows("190").splitlines()), whole)

    def test_the_shipped_file_agrees_with_the_rows(self):
        root = xml.etree.ElementTree.parse(BUILD / "Resources" / "XManConfigV2.xml").getroot()
        described = {product.get("ProdID"): [(row.get("KeyName"), row.get("KeyValue")) for row in product]
                     for product in root}
        for number, application in PRODUCTS.items():
            pairs = [row[1:] for row in rows_of(application, "")[1] if row[1] != "$installfolder"]
            self.assertEqual(sorted(described.pop(number)), sorted(pairs))
        self.assertEqual(described, {})


class Paths(RegistrationTest):
    """The folder and the name that a path gives."""

    def assert_registered(self, path, folder, number="190"):
        self.assert_result(self.run_tamsel("-r", path), registered(PRODUCTS[number]))
        self.assertEqual(
            self.rows("SELECT AppPath FROM Tb_ProductInfoV2 WHERE ProdID = ?", number) + self.rows(
                "SELECT KeyValue FROM Tb_XManConfig WHERE ProdID = ? AND KeyName = '$installfolder'", number),
            [(folder,)] * 2)

    def assert_not_registered(self, path, out):
        before = self.database.read_bytes()
        self.assert_result(self.run_tamsel("-r", path), out)
        self.assertEqual(self.database.read_bytes(), before)
        self.assert_copied()

    def assert_not_supported(self, name):
        self.assert_not_registered(b"/Applications/" + name + b".app",
                                   expected("unsupported.out").replace(b"Adobe Photoshop 2020", name))

    def test_the_last_component_without_its_extension_is_the_name(self):
        self.assert_registered("/a.b/Adobe InDesign 2020.exe", "/a.b")
        self.assert_registered("/c/Adobe InDesign 2020.", "/c")
        self.assert_registered("/a/Adobe InDesign 2020 Win64.app", "/a", "189")

    def test_the_folder_of_the_bundle_counts_as_an_application(self):
        self.assert_registered("/Applications/Adobe InDesign 2020", "/Applications")

    def test_a_bundle_under_the_root_has_an_empty_folder(self):
        self.assert_registered("/Adobe InDesign 2020.app", "")

    def test_a_folder_is_taken_as_it_stands(self):
        for folder in (".", "..", "~", "a//", "/a/../b", "$HOME", "`id`", 'a"b', "%s%n", "ä\u20ac",
                       " ", "\\", "-r", "a;b", "line\nfeed", "x" * 100_000):
            with self.subTest(folder[:20]):
                self.assert_registered(folder + "/Adobe InDesign 2020.app", folder)

    def test_a_folder_that_is_no_text_is_stored_byte_by_byte(self):
        self.assert_result(self.run_tamsel("-r", b"/\xff\xfe/Adobe InDesign 2020.app"), registered())
        self.assertEqual(self.rows("SELECT hex(AppPath) FROM Tb_ProductInfoV2 WHERE ProdID = 190"),
                         [("2FFFFE",)])

    def test_a_quote_in_the_folder_breaks_both_statements(self):
        error = 'ERROR: while compiling sql: near "s": syntax error\n\nFinalized statemant: 0'
        self.assert_not_registered("/it's/Adobe InDesign 2020.app",
                                   registered(info=error, configuration=error))

    def test_a_quote_in_the_folder_can_change_the_statement(self):
        # What follows the first statement is not run; what is spliced into it is.
        path = "/a', 'xx', '8'); DELETE FROM Tb_XManConfig; --/Adobe InDesign 2020.app"
        self.run_tamsel("-r", path)
        self.assertEqual(self.rows("SELECT AppPath, LocaleInfo, SuiteID FROM Tb_ProductInfoV2"
                                   " WHERE ProdID = 190"), [("/a", "xx", 8)])
        self.assertEqual(self.rows("SELECT COUNT(*) FROM Tb_XManConfig WHERE ProdID IN (12, 1860)"), [(4,)])

    def test_no_name_in_the_path(self):
        for path in ("Adobe InDesign 2020.app", "Adobe InDesign 2020", "", INDESIGN + "/", "/", "//",
                     "/a/.app"):
            with self.subTest(path):
                self.assert_not_registered(path, expected("file-not-found.out"))

    def test_a_name_that_only_resembles_an_applications(self):
        for name in ("Adobe Photoshop 2020", "adobe indesign 2020", "ADOBE INDESIGN 2020",
                     "Adobe InDesign 2020 ", " Adobe InDesign 2020", "Adobe  InDesign 2020",
                     "Adobe\u00a0InDesign 2020", "Adobe InDesign 2020.app", "Adobe InDesign 202",
                     "Adobe InDesign 20200", "Adobe InDesign 2020 win64", "Adobe InDesign 2020 Mac",
                     "InDesign 2020", "Adobe InDesign CC 2020", "Adobe InDesign 2019",
                     "INDESIGNCC2020MAC"):
            with self.subTest(name):
                self.assert_not_supported(name.encode())

    def test_a_name_of_arbitrary_bytes_is_shown_as_it_stands(self):
        for name in (b"\xff\xfe", b"%s%n", b"a\nb", b"$HOME", b"'; --", b'"', b" ", b"x" * 100_000):
            with self.subTest(name[:20]):
                self.assert_not_supported(name)
