import re
import sqlite3
import threading

from harness.machine import BUILD, expected
from harness.registration import CONFIGURATION_ROWS, PRODUCTS, RegistrationTest, file_name
from harness.report import claims

RUNS = 400
TURNS = 25

# Starts runs, as many at once as the argument says, until each line of standard input has been the path of a
# run.
START = """
number=0
while read -r path; do
    number=$((number + 1))
    { "$0" -r "$path" >$number.out 2>$number.err; echo $? >$number.status; } &
    [ $((number % $1)) -ne 0 ] || wait
done
wait
"""

# Records each row that is written. The trigger is in the database: the program knows nothing of it.
LOG = """
CREATE TABLE Log (Number INTEGER PRIMARY KEY, ProdID, KeyName, KeyValue);
CREATE TRIGGER Info AFTER INSERT ON Tb_ProductInfoV2 BEGIN
    INSERT INTO Log (ProdID, KeyValue) VALUES (new.ProdID, new.AppPath);
END;
CREATE TRIGGER Configuration AFTER INSERT ON Tb_XManConfig BEGIN
    INSERT INTO Log (ProdID, KeyName, KeyValue) VALUES (new.ProdID, new.KeyName, new.KeyValue);
END;
"""
LOCKED = {b"ERROR: while compiling sql: database is locked", b"Return code after executing SQL: 5"}
FAILURE = re.compile(rb"ERROR: .*|Return code after executing SQL: (?!101\n).*")


class Load(RegistrationTest):
    """Hundreds of runs at once, beside a reader and a writer that wait for their turns."""

    journal = "delete"

    def setUp(self):
        super().setUp()
        self.rows(f"PRAGMA journal_mode = {self.journal}")
        self.change(LOG)
        self.problems = []
        self.applications = [(number, *list(PRODUCTS.items())[number % len(PRODUCTS)])
                             for number in range(1, RUNS + 1)]

    def write(self):
        """The Extension Manager, changing a row of its own again and again."""
        connection = sqlite3.connect(self.database, timeout=600, isolation_level=None)
        for turn in range(1, TURNS + 1):
            connection.execute("BEGIN IMMEDIATE")
            connection.execute("UPDATE Tb_ProductInfoV2 SET SuiteID = ? WHERE ProdID = 12", (turn,))
            connection.execute("COMMIT")
        connection.close()

    def read(self):
        """The Extension Manager, reading everything: no product's configuration is ever there in part."""
        connection = sqlite3.connect(self.database, timeout=600, isolation_level=None)
        for _ in range(TURNS):
            counts = dict(connection.execute("SELECT ProdID, COUNT(*) FROM Tb_XManConfig"
                                             " GROUP BY ProdID"))
            self.problems += [count for number, count in counts.items()
                              if str(number) in PRODUCTS and count != 14]
        connection.close()

    def run_all(self, at_once):
        others = [threading.Thread(target=self.read), threading.Thread(target=self.write)]
        for other in others:
            other.start()
        paths = "".join(f"/{number}/{application}.app\n"
                        for number, _, application in self.applications)
        result = self.run_inside("sh", "-c", START, BUILD / "Tamsel", str(at_once),
                                 stdin=paths.encode())
        for other in others:
            other.join()
        self.assert_result(result, b"")
        self.assertEqual(self.problems, [])

    def claimed(self):
        """The runs that claim to have written the product's row, and the configuration."""
        info, configuration = set(), set()
        for number, product, application in self.applications:
            out, err, status = ((self.folder / f"{number}.{kind}").read_bytes()
                                for kind in ("out", "err", "status"))
            self.assertEqual((err, status), (b"", b"0\n"))
            said = claims(out, application)
            self.assertIsNotNone(said, out.decode())
            self.assertLessEqual(set(FAILURE.findall(out)), LOCKED)
            info |= {(product, f"/{number}")} if said.info else set()
            configuration |= {(product, f"/{number}")} if said.configuration else set()
        return info, configuration

    def written_info(self):
        return self.rows("SELECT CAST(ProdID AS TEXT), KeyValue FROM Log WHERE KeyName IS NULL")

    def written_configurations(self):
        """Product and folder of each set of fourteen rows that were written one after another."""
        rows = self.rows("SELECT CAST(ProdID AS TEXT), KeyName, KeyValue FROM Log"
                         " WHERE KeyName IS NOT NULL ORDER BY Number")
        for fourteen in (rows[i:i + 14] for i in range(0, len(rows), 14)):
            product, folder = fourteen[0][0], dict(row[1:] for row in fourteen)["$installfolder"]
            lines = expected(file_name(PRODUCTS[product]) + ".rows").decode().splitlines()[1:]
            whole = [tuple(line.split("|")) for line in lines]
            self.assertEqual(fourteen, whole[:3] + [(product, "$installfolder", folder)] + whole[4:])
            yield product, folder

    def assert_claims_are_true(self, at_once):
        # cp itself fails now and then when another one creates the file at the same time.
        (self.configuration / "XManConfigV2.xml").write_text("an older file")
        self.run_all(at_once)
        info, configuration = self.claimed()
        self.assertEqual(sorted(self.written_info()), sorted(info))
        self.assertEqual(sorted(self.written_configurations()), sorted(configuration))
        for number, application in PRODUCTS.items():
            result = self.run_tamsel("-r", f"/Applications/{application}/{application}.app")
            self.assert_result(result, expected(file_name(application) + ".out"))
            self.assertEqual(len(self.rows(CONFIGURATION_ROWS, number)), 14)
        self.assertEqual(self.rows("PRAGMA integrity_check"), [("ok",)])
        self.assertEqual(self.rows("SELECT SuiteID FROM Tb_ProductInfoV2 WHERE ProdID = 12"),
                         [(TURNS,)])
        self.assert_copied()
        self.assert_nothing_left_open()
        self.print_figure(f"{RUNS} runs, {at_once} at once: {len(info) + len(configuration)} of {2 * RUNS}"
                          " statements were written, the others found the database locked")

    def test_hundreds_of_runs_at_once(self):
        self.assert_claims_are_true(at_once=RUNS)

    def test_a_few_runs_at_once_again_and_again(self):
        self.assert_claims_are_true(at_once=4)


class LoadWithAWriteAheadLog(Load):
    journal = "wal"
