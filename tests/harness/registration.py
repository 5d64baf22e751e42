"""What tests of a registration share: the products, and the rows that the program writes."""

from harness.machine import BUILD, MachineTest

PRODUCTS = {
    "155": "Adobe InCopy CC 2019 Win64",
    "156": "Adobe InCopy CC 2019",
    "158": "Adobe InDesign CC 2019 Win64",
    "159": "Adobe InDesign CC 2019",
    "186": "Adobe InCopy 2020 Win64",
    "187": "Adobe InCopy 2020",
    "189": "Adobe InDesign 2020 Win64",
    "190": "Adobe InDesign 2020",
}
INDESIGN = "/Applications/Adobe InDesign 2020/Adobe InDesign 2020.app"

PRODUCT_INFO = ("SELECT ProdID, ProdName, DisplayName, FamilyName, ProdVersion, PCDEntryName, AppPath,"
                " LocaleInfo, SuiteID FROM Tb_ProductInfoV2 WHERE ProdID = ? ORDER BY rowid")
CONFIGURATION_ROWS = ("SELECT ProdID, KeyName, KeyValue FROM Tb_XManConfig WHERE ProdID = ?"
                      " ORDER BY rowid")


def file_name(application):
    return application.lower().replace(" ", "-")


class RegistrationTest(MachineTest):
    def product_rows(self, number):
        """All rows of a product, one per line, their values separated by bars."""
        rows = self.rows(PRODUCT_INFO, number) + self.rows(CONFIGURATION_ROWS, number)
        return "".join("|".join(map(str, row)) + "\n" for row in rows).encode()

    def folder_value(self, number):
        return self.rows("SELECT AppPath FROM Tb_ProductInfoV2 WHERE ProdID = ?", number) + self.rows(
            "SELECT KeyValue FROM Tb_XManConfig WHERE ProdID = ? AND KeyName = '$installfolder'", number)

    def other_rows(self, number):
        """All rows of other products, with all their columns."""
        return [self.rows(f"SELECT rowid, * FROM {table} WHERE ProdID <> ? ORDER BY rowid", number)
                for table in ("Tb_ProductInfoV2", "Tb_XManConfig")]

    def assert_copied(self):
        copied = (self.configuration / "XManConfigV2.xml").read_bytes()
        self.assertEqual(copied, (BUILD / "Resources" / "XManConfigV2.xml").read_bytes())

    def assert_nothing_left_open(self):
        self.assertEqual(list(self.database.parent.iterdir()), [self.database])
