"""What tests of a registration share: the products, what the program says and the rows that it writes."""

import functools
import re
import sqlite3

from harness.machine import BUILD, TESTS, MachineTest, expected

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

TABLES = ("Tb_ProductInfoV2", "Tb_XManConfig")
PRODUCT_INFO = ("SELECT ProdID, ProdName, DisplayName, FamilyName, ProdVersion, PCDEntryName, AppPath,"
                " LocaleInfo, SuiteID FROM Tb_ProductInfoV2 WHERE ProdID = ? ORDER BY rowid")
CONFIGURATION_ROWS = ("SELECT ProdID, KeyName, KeyValue FROM Tb_XManConfig WHERE ProdID = ?"
                      " ORDER BY rowid")

# What the lines of a statement that has failed say, and which one it was.
FAILED = re.compile(
    r"(ERROR: can't open database: .*"
    r"|ERROR: while compiling sql: .*\n\nFinalized statemant: 0"
    r"|Return code after executing SQL: (?!10[01])(\d+)\n\nFinalized statemant: \2)"
    r"\n\nClosed database: 0\n\n(\w+) execution: failed")


def file_name(application):
    return application.lower().replace(" ", "-")


def registered(application="Adobe InDesign 2020", info=None, configuration=None):
    """What a registration prints. Either of its two statements may end with other lines than those
    of success."""
    out = expected("adobe-indesign-2020.out").decode().replace(
        "File name found: Adobe InDesign 2020\n", f"File name found: {application}\n")
    done = "Return code after executing SQL: 101\n\nFinalized statemant: 0"
    rest = "\n\nClosed database: 0\n\n{0} execution: {1}\n\n{0} {2}\n\n"
    for name, lines in (("InsertProductInfo", info), ("InsertXManConfig", configuration)):
        if lines is not None:
            out = out.replace(done + rest.format(name, "succeeded", "true"),
                              lines + rest.format(name, "failed", "false"))
    return out.encode()


@functools.lru_cache(maxsize=None)
def rows_of(application, folder):
    """The rows that a product's two statements write into their tables, in order, as texts."""
    connection = sqlite3.connect(":memory:")
    connection.executescript((TESTS / "schemas" / "without-keys.sql").read_text())
    connection.executescript(expected(file_name(application) + ".sql").decode().replace(
        "/Applications/" + application, folder))
    return [connection.execute(f"SELECT * FROM {table}").fetchall() for table in TABLES]


def lines(rows):
    """Rows, one per line, their values separated by bars."""
    return "".join("|".join(map(str, row)) + "\n" for row in rows).encode()


class RegistrationTest(MachineTest):
    def product_rows(self, number):
        """All rows of a product, one per line."""
        return lines(self.rows(PRODUCT_INFO, number) + self.rows(CONFIGURATION_ROWS, number))

    def other_rows(self, number):
        """All rows of other products, with all their columns."""
        return [self.rows(f"SELECT rowid, * FROM {table} WHERE ProdID <> ? ORDER BY rowid", number)
                for table in TABLES]

    def claims(self, result):
        """Whether a registration claims to have written the product's row, and the fourteen others.
        Whatever happens, what it says has a fixed form."""
        failed = {name: lines for lines, _, name in FAILED.findall(result.out.decode())}
        reasons = failed.get("InsertProductInfo"), failed.get("InsertXManConfig")
        self.assert_result(result, registered(info=reasons[0], configuration=reasons[1]), result.err)
        return [reason is None for reason in reasons]

    def assert_copied(self):
        copied = (self.configuration / "XManConfigV2.xml").read_bytes()
        self.assertEqual(copied, (BUILD / "Resources" / "XManConfigV2.xml").read_bytes())

    def assert_nothing_left_open(self):
        self.assertEqual(list(self.database.parent.iterdir()), [self.database])
