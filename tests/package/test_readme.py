import re

from harness.machine import BUILD, ROOT, MachineTest


class Readme(MachineTest):
    """What the README shows is what the program prints."""

    def shown(self, command):
        """The output that stands under a command, up to the end of its block."""
        text = (ROOT / "README.md").read_bytes()
        [output] = re.findall(rb"^\$ %s\n(.*?)^```$" % re.escape(command.encode()), text,
                              re.MULTILINE | re.DOTALL)
        return output

    def test_the_registration(self):
        path = "/Applications/Adobe InDesign 2020/Adobe InDesign 2020.app"
        shown = self.shown(f'sudo ./Tamsel -r "{path}"')
        self.assert_result(self.run_inside("./Tamsel", "-r", path, cwd=BUILD), shown)

    def test_the_help(self):
        self.assert_result(self.run_inside("./Tamsel", "-h", cwd=BUILD), self.shown("./Tamsel -h"))
