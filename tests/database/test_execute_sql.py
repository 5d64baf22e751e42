from harness.machine import BUILD, MachineTest


class ExecuteSQL(MachineTest):
    """SQLUtils::ExecuteSQL on real database files."""

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

    def assert_not_compiled(self, sql, message):
        self.execute(sql, "ERROR: while compiling sql: " + message, "Finalized statemant: 0",
                     "Closed database: 0", "returned false")

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

    def test_does_nothing_for_empty_text(self):
        self.database.unlink()
        self.execute(b"", "returned false")
        self.assertFalse(self.database.exists())

    def test_misuses_the_step_for_text_without_a_statement(self):
        for sql in (b" ", b"\n", b"-- a comment", b";"):
            with self.subTest(sql):
                self.execute(sql, "Return code after executing SQL: 21", "Finalized statemant: 0",
                             "Closed database: 0", "returned false")

    def test_reports_a_compile_error_and_still_finalizes(self):
        for sql, message in ((b"INSERT INTO Missing VALUES (1)", "no such table: Missing"),
                             (b"no SQL", 'near "no": syntax error'),
                             (b"INSERT INTO Words VALUES ('", 'unrecognized token: "\'"')):
            with self.subTest(sql):
                self.assert_not_compiled(sql, message)

    def test_reports_the_last_code_of_a_statement_that_fails(self):
        self.execute(b"INSERT INTO Words VALUES ('one')", "Return code after executing SQL: 19",
                     "Finalized statemant: 19", "Closed database: 0", "returned false")
        self.assertEqual(self.words(), ["one", "two"])

    def test_creates_a_missing_database_and_fails_to_compile(self):
        self.database.unlink()
        self.assert_not_compiled(b"INSERT INTO Words VALUES ('three')", "no such table: Words")
        self.assertEqual(self.database.read_bytes(), b"")

    def test_fails_to_open_where_the_folder_is_missing(self):
        self.database.unlink()
        self.database.parent.rmdir()
        self.execute(b"SELECT 1", "ERROR: can't open database: unable to open database file",
                     "Closed database: 0", "returned false")
        self.assertFalse(self.database.parent.exists())

    def test_says_busy_at_once_while_another_program_writes(self):
        writer = self.connect()
        writer.execute("BEGIN IMMEDIATE")
        self.execute(b"INSERT INTO Words VALUES ('three')", "Return code after executing SQL: 5",
                     "Finalized statemant: 5", "Closed database: 0", "returned false")
        writer.execute("ROLLBACK")
        self.assertEqual(self.words(), ["one", "two"])
