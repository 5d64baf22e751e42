"""The picture in the README shows what the program really writes."""

import xml.etree.ElementTree

from harness.machine import ROOT, MachineTest
from harness.registration import INDESIGN


class Picture(MachineTest):
    def test_shows_the_rows_of_a_run(self):
        drawing = xml.etree.ElementTree.parse(ROOT / "docs" / "demo.svg")
        shown = [line.text for line in drawing.iter("{http://www.w3.org/2000/svg}text")]
        self.run_tamsel("-r", INDESIGN)
        self.assertEqual([line for line in shown if line.startswith("=== ")], [
            "=== Its row in the table Tb_ProductInfoV2", "=== Its rows in the table Tb_XManConfig"])
        product, = self.rows("SELECT * FROM Tb_ProductInfoV2 WHERE ProdID = 190")
        self.assertEqual([line.split(" = ")[1] for line in shown if " = " in line], list(map(str, product)))
        rows = self.rows("SELECT * FROM Tb_XManConfig WHERE ProdID = 190 ORDER BY rowid")
        self.assertEqual([tuple(line.split(None, 2)) for line in shown if line.startswith("   190 ")],
                         [tuple(map(str, row)) for row in rows])
