"""The picture in the README shows what the program really prints and writes."""

import xml.etree.ElementTree

from harness.machine import ROOT, MachineTest
from harness.registration import INDESIGN


class Picture(MachineTest):
    def test_shows_a_run_and_its_rows(self):
        drawing = xml.etree.ElementTree.parse(ROOT / "docs" / "demo.svg")
        shown = [line.text for line in drawing.iter("{http://www.w3.org/2000/svg}text")]
        lines = list(filter(None, self.run_tamsel("-r", INDESIGN).out.decode().split("\n")))
        self.assertGreater(len(lines), 10)
        self.assertEqual(shown[:len(lines) + 1], [f'=== Tamsel -r "{INDESIGN}"', *lines])
        product, = self.rows("SELECT * FROM Tb_ProductInfoV2 WHERE ProdID = 190")
        self.assertEqual([line.split(" = ")[1] for line in shown if " = " in line], list(map(str, product)))
        rows = self.rows("SELECT * FROM Tb_XManConfig WHERE ProdID = 190 ORDER BY rowid")
        self.assertEqual([tuple(line.split(None, 2)) for line in shown if line.startswith("   190 ")],
                         [tuple(map(str, row)) for row in rows])
