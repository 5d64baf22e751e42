from harness.machine import BUILD, MachineTest


class ExecuteSQL(MachineTest):
    """SQLUtils::ExecuteSQL on real database files, as far as no registration shows it."""

    def setUp(self):
        super().setUp()
        self.change("CREATE TABLE Words (Word TEXT UNIQUE); INSERT INTO Words VALUES ('one'), ('two');")

    def execute(self, sql, *lines):
        """Each line is followed by an empty one, but the last."""
        result = self.run_inside(BUILD / "tests" / "execute_sql", stdin=sql)
        self.assert_result(result, "\n\n".join(lines).encode() + b"\n")

    def assert_done(self, sql):
        self.execute(sql, "Return code after executing SQL: 101", "Finalized statemant: 0",
                     "Closed database: 0", "returned true")

    def words(self):
        return [word for (word,) in self.rows("SELECT Word FROM Words ORDER BY Word")]

    def test_runs_and_commits_the_first_statement_up_to_a_nul(self):
        for sql in (b"INSERT OR REPLACE INTO Words VALUES ('three');",
                    b"INSERT OR REPLACE INTO Words VALUES ('three'); DELETE FROM Words;",
                    b"INSERT OR REPLACE INTO Words VALUES ('three')\0 and no SQL"):
            with self.subTest(sql):
                self.assert_done(sql)
                self.assertEqual(self.words(), ["one", "three", "two"])
                self.change("DELETE FROM Words WHERE Word = 'three'")

    def test_steps_past_all_rows_of_a_query(self):
        self.assert_done(b"SELECT * FROM Words")

    def test_misuses_the_step_for_text_without_a_statement(self):
        for sql in (b" ", b"\n", b"-- a comment", b";"):
            with self.subTest(sql):
                self.execute(sql, "Return code after executing SQL: 21", "Finalized statemant: 0",
                             "Closed database: 0", "returned false")

    def test_creates_a_missing_database_and_fails_to_compile(self):
        self.database.unlink()
        self.execute(b"INSERT INTO Words VALUES (1)", "ERROR: while compiling sql: no such table: Words",
                     "Finalized statemant: 0", "Closed database: 0", "returned false")
        self.assertEqual(self.database.read_bytes(), b"")

    def test_fails_to_open_where_the_folder_is_missing(self):
        self.database.unlink()
        self.database.parent.rmdir()
        self.execute(b"SELECT 1", "ERROR: can't open database: unable to open database file",
                     "Closed database: 0", "returned false")
        self.assertFalse(self.database.parent.exists())
