"""A checkout on a Mac that is played by stand-ins for the Mac's tools. The archive that it makes has
the programs of this system."""

import shutil

from harness.machine import BUILD, ROOT, VERSION, write_script
from harness.macos import MacTest

NAME = f"tamsel-{VERSION}-macos-universal"
ARCHIVE = f"dist/{NAME}.tar.gz"
UNSIGNED = f"dist/tamsel-{VERSION}-unsigned.pkg"

# A package is an archive of what it is made from. The receipts are in a file.
TOOLS = {
    "uname": 'case ${1:-} in -m) echo "${MACHINE:-x86_64}" ;; *) echo Darwin ;; esac',
    "cmake": f"mkdir -p build-universal; cp {BUILD}/Tamsel {BUILD}/tamsel-deploy build-universal",
    "pkgbuild": 'for file; do :; done; tar -c -C "$2" -f "$file" .',
    "productbuild": 'for file; do :; done; tar -c -C "$4" -f "$file" distribution.xml tamsel.pkg',
    "pkgutil": """\
        case $1 in
        --payload-files) tar -t -f "$2"; printf "${MORE_FILES:-}" ;;
        --pkgs) ! [ -e "$RECEIPTS" ] || cat "$RECEIPTS" ;;
        --forget) grep -v "$2" "$RECEIPTS" >"$RECEIPTS.new"; mv "$RECEIPTS.new" "$RECEIPTS" ;;
        esac""",
    "installer": '[ "$1 $3 $4" = "-pkg -target /" ] && tar -x -O -f "$2" tamsel.pkg |'
                 ' tar -x -C /usr/local --strip-components 3 ./usr/local && echo local.tamsel >"$RECEIPTS"',
    "arch": 'shift; exec "$@"',
    "gh": 'cat >"$NOTES"',
    "codesign": "", "xattr": "", "xcrun": "",
}


class CheckoutTest(MacTest):
    def setUp(self):
        super().setUp()
        self.tree = self.folder / "tree"
        shutil.copytree(ROOT, self.tree, ignore=shutil.ignore_patterns("build*", "dist", ".git"))
        self.calls, self.notes = self.folder / "calls", self.folder / "notes"
        for name, script in TOOLS.items():
            self.make_tool(name, f"""echo "{name} $*" | sed 's|[^ ]*/tmp\\.[^/ ]*|WORK|g' >>"$CALLS"\n"""
                           + script)
        # It would notice that these are no programs for macOS.
        write_script(self.tree / "packaging" / "check-package", 'echo "check-package $*" >>"$CALLS"')

    def call(self, script, *arguments, binds=(), variables=()):
        """Starts a script of the checkout, and returns its Result."""
        return self.run_on_the_mac(
            self.tree / script, *arguments, binds=binds,
            variables=("TAMSEL_THROW_AWAY_MACHINE=yes", f"CALLS={self.calls}", f"NOTES={self.notes}",
                       f"RECEIPTS={self.folder / 'receipts'}", *variables))

    def succeed(self, script, *arguments, **how):
        """The same for one that must succeed; returns its output."""
        result = self.call(script, *arguments, **how)
        self.assertEqual(result.status, 0, result.err.decode())
        return result.out.decode()
