"""Reads what a registration says, which must have a fixed form."""

import re
from typing import NamedTuple

OPERATION = (
    r"(?:Return code after executing SQL: 101\n\nFinalized statemant: 0\n\n"
    r"Closed database: 0\n\nNAME execution: succeeded\n\nNAME (?P<NAME>true)\n\n"
    r"|(?:ERROR: can't open database: [^\n]+\n\n"
    r"|ERROR: while compiling sql: [^\n]+\n\nFinalized statemant: 0\n\n"
    r"|Return code after executing SQL: (?!100|101)(?P<NAMECode>\d+)\n\n"
    r"Finalized statemant: (?P=NAMECode)\n\n)"
    r"Closed database: 0\n\nNAME execution: failed\n\nNAME false\n\n)")
REPORT = re.compile((
    r"Three parameters\n\n-r command found\n\nFile name found: (?P<Application>[^\n]+)\n\n"
    + OPERATION.replace("NAME", "InsertProductInfo") + OPERATION.replace("NAME", "InsertXManConfig")
    + r"\nThe application was successfully registrated\n\n").encode())


class Claims(NamedTuple):
    """What a run says that it has written."""

    info: bool
    configuration: bool


def claims(report, application):
    """The claims of a report, or None if its form is not that of a registration."""
    match = REPORT.fullmatch(report)
    if match is None or match["Application"] != application.encode():
        return None
    return Claims(bool(match["InsertProductInfo"]), bool(match["InsertXManConfig"]))
