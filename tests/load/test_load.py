import re
import sqlite3
import threading

from harness.machine import BUILD, Result, expected
from harness.registration import INDESIGN, PRODUCTS, RegistrationTest, file_name, registered

RUNS = 200
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
            counts = connection.execute("SELECT ProdID, COUNT(*) FROM Tb_XManConfig GROUP BY ProdID")
            self.problems += [count for number, count in counts.fetchall()
                              if str(number) in PRODUCTS and count != 14]
        connection.close()

    def run_all(self, runs, at_once):
        others = [threading.Thread(target=self.read), threading.Thread(target=self.write)]
        for other in others:
            other.start()
        paths = "".join(f"/{number}/{PRODUCTS[product]}.app\n" for number, product in runs)
        result = self.run_inside("sh", "-c", START, BUILD / "Tamsel", str(at_once), stdin=paths.encode())
        for other in others:
            other.join()
        self.assert_result(result, b"")
        self.assertEqual(self.problems, [])

    def claimed(self, runs):
        """Product and folder of the runs that claim to have written the product's row, and of those that
        claim to have written the configuration."""
        info, configuration = [], []
        for number, product in runs:
            out, err, status = ((self.folder / f"{number}.{kind}").read_bytes()
                                for kind in ("out", "err", "status"))
            self.assertEqual(err, b"")
            said = self.claims(Result(out, err, int(status)), PRODUCTS[product])
            self.assertLessEqual(set(FAILURE.findall(out)), LOCKED)
            info += [(product, f"/{number}")] * said.info
            configuration += [(product, f"/{number}")] * said.configuration
        return sorted(info), sorted(configuration)

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
        runs = [(number, list(PRODUCTS)[number % len(PRODUCTS)]) for number in range(1, RUNS + 1)]
        self.run_all(runs, at_once)
        info = self.rows("SELECT CAST(ProdID AS TEXT), KeyValue FROM Log WHERE KeyName IS NULL")
        self.assertEqual((sorted(info), sorted(self.written_configurations())), self.claimed(runs))
        self.assert_result(self.run_tamsel("-r", INDESIGN), registered())
        self.assertEqual(self.rows("PRAGMA integrity_check"), [("ok",)])
        self.assertEqual(self.rows("SELECT SuiteID FROM Tb_ProductInfoV2 WHERE ProdID = 12"),
                         [(TURNS,)])
        self.assert_copied()
        self.assert_nothing_left_open()

    def test_hundreds_of_runs_at_once(self):
        self.assert_claims_are_true(at_once=RUNS)

    def test_a_few_runs_at_once_again_and_again(self):
        self.assert_claims_are_true(at_once=4)


class LoadWithAWriteAheadLog(Load):
    journal = "wal"
