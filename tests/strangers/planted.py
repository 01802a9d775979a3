"""What the tests of strangers put where."""

import shutil

from program import BINARY_DIR

MODULES = BINARY_DIR / "lib" / "orvan" / "modules"


def module_folder(place, name="modules"):
    """The program's modules in a folder of root's."""
    folder = place / name
    folder.mkdir(mode=0o755, parents=True)
    for module in MODULES.glob("*.so"):
        shutil.copy(module, folder)
        (folder / module.name).chmod(0o644)
    return folder
