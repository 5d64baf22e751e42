from harness.machine import BUILD, MachineTest

DONE = (b"Return code after executing SQL: 101\n\n"
        b"Finalized statemant: 0\n\n"
        b"Closed database: 0\n\n"
        b"returned true\n")


class ExecuteSQL(MachineTest):
    """SQLUtils::ExecuteSQL on real database files."""

    def setUp(self):
        super().setUp()
        self.change("CREATE TABLE Words (Word TEXT UNIQUE); INSERT INTO Words VALUES ('one'), ('two');")

    def execute(self, sql, out, **how):
        self.assert_result(self.run_inside(BUILD / "tests" / "execute_sql", stdin=sql, **how), out)

    def words(self):
        return [word for (word,) in self.rows("SELECT Word FROM Words ORDER BY Word")]

    def test_runs_a_statement_and_commits_it(self):
        self.execute(b"INSERT OR REPLACE INTO Words VALUES ('three');", DONE)
        self.assertEqual(self.words(), ["one", "three", "two"])

    def test_runs_only_the_first_of_two_statements(self):
        self.execute(b"INSERT INTO Words VALUES ('three'); DELETE FROM Words;", DONE)
        self.assertEqual(self.words(), ["one", "three", "two"])

    def test_reads_the_text_up_to_its_first_nul(self):
        self.execute(b"INSERT INTO Words VALUES ('three')\0 and no SQL", DONE)
        self.assertEqual(self.words(), ["one", "three", "two"])

    def test_steps_past_all_rows_of_a_query(self):
        self.execute(b"SELECT * FROM Words", DONE)

    def test_does_nothing_for_empty_text(self):
        self.database.unlink()
        self.execute(b"", b"returned false\n")
        self.assertFalse(self.database.exists())

    def test_misuses_the_step_for_text_without_a_statement(self):
        for sql in (b" ", b"\n", b"-- a comment", b";"):
            with self.subTest(sql):
                self.execute(sql, b"Return code after executing SQL: 21\n\n"
                                  b"Finalized statemant: 0\n\n"
                                  b"Closed database: 0\n\n"
                                  b"returned false\n")

    def test_reports_a_compile_error_and_still_finalizes(self):
        for sql, message in ((b"INSERT INTO Missing VALUES (1)", b"no such table: Missing"),
                             (b"no SQL", b'near "no": syntax error'),
                             (b"INSERT INTO Words VALUES ('", b'unrecognized token: "\'"')):
            with self.subTest(sql):
                self.execute(sql, b"ERROR: while compiling sql: " + message + b"\n\n"
                                  b"Finalized statemant: 0\n\n"
                                  b"Closed database: 0\n\n"
                                  b"returned false\n")

    def test_reports_the_last_code_of_a_statement_that_fails(self):
        self.execute(b"INSERT INTO Words VALUES ('one')", b"Return code after executing SQL: 19\n\n"
                                                          b"Finalized statemant: 19\n\n"
                                                          b"Closed database: 0\n\n"
                                                          b"returned false\n")
        self.assertEqual(self.words(), ["one", "two"])

    def test_creates_a_missing_database_and_fails_to_compile(self):
        self.database.unlink()
        self.execute(b"INSERT INTO Words VALUES ('three')",
                     b"ERROR: while compiling sql: no such table: Words\n\n"
                     b"Finalized statemant: 0\n\n"
                     b"Closed database: 0\n\n"
                     b"returned false\n")
        self.assertEqual(self.database.read_bytes(), b"")

    def test_fails_to_open_where_the_folder_is_missing(self):
        self.database.unlink()
        self.database.parent.rmdir()
        self.execute(b"SELECT 1", b"ERROR: can't open database: unable to open database file\n\n"
                                  b"Closed database: 0\n\n"
                                  b"returned false\n")
        self.assertFalse(self.database.parent.exists())

    def test_says_busy_at_once_while_another_program_writes(self):
        writer = self.connect()
        writer.execute("BEGIN IMMEDIATE")
        self.execute(b"INSERT INTO Words VALUES ('three')", b"Return code after executing SQL: 5\n\n"
                                                            b"Finalized statemant: 5\n\n"
                                                            b"Closed database: 0\n\n"
                                                            b"returned false\n")
        writer.execute("ROLLBACK")
        self.assertEqual(self.words(), ["one", "two"])
