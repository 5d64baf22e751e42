"""A disk of a limited size."""

PAGE = 4096

# Fills the disk, runs on it the command that follows the folder, and hands back what is there then.
ON_THE_DISK = """
folder=$1
shift
cp -a "$folder/." /Library/ || exit 1
"$@" >out 2>err
status=$?
rm -rf "$folder"/* && cp -a /Library/. "$folder/" || exit 1
echo "$status" >status
"""


def used(moment):
    """How many pages the files of a moment take up."""
    contents = {same: content for _, content, same in moment.values() if content}
    return sum(-(-len(content) // PAGE) for content in contents.values())


def run_on_a_disk(test, pages, *command):
    """Runs a command that finds the present content of /Library on a disk of this size."""
    result = test.run_inside("sh", "-c", ON_THE_DISK, "sh", test.private_library, *command,
                             options=[*test.bound, "--tmpfs", str(pages * PAGE), "/Library"])
    test.assertEqual(result.status, 0, result.err.decode())
    return test.shell.result(int((test.folder / "status").read_text()))
