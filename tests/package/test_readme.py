import re

from harness.deploy import DeployTest
from harness.machine import BUILD, ROOT
from harness.registration import INDESIGN


class Readme(DeployTest):
    """What the README shows is what the programs print."""

    @staticmethod
    def shown(command):
        """The output that stands under a command, up to the next command or the end of its block."""
        text = (ROOT / "README.md").read_bytes()
        [output] = re.findall(rb"^\$ %s\n(.*?)^(?=\$ |```$)" % re.escape(command.encode()), text,
                              re.MULTILINE | re.DOTALL)
        return output

    def test_the_registration(self):
        shown = self.shown(f'sudo ./Tamsel -r "{INDESIGN}"')
        self.assert_result(self.run_inside("./Tamsel", "-r", INDESIGN, cwd=BUILD), shown)

    def test_the_deployment(self):
        self.add_applications(INDESIGN)
        for arguments in ([], ["--restore"]):
            result = self.deploy(*arguments)
            self.assertEqual(result.status, 0, result.err)
            shown = self.shown(" ".join(["sudo tamsel-deploy", *arguments]))
            # A terminal shows both streams.
            self.assertEqual(self.without_times(result.err + result.out), self.without_times(shown))

    @staticmethod
    def without_times(text):
        return re.sub(rb"\d{4}-\d\d-\d\dT[\d:]+Z", b"TIME", text)
