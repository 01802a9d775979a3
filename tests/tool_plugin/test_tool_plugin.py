"""A tool that is loaded into the running program finds the exported class and settings there."""

from program import BINARY_DIR, PROGRAM, World

PLUGIN = BINARY_DIR / "tests/plugins/tool_plugin.so"


def test_a_loaded_tool_is_made_of_what_the_program_exports(tmp_path):
    world = World(tmp_path)
    report = tmp_path / "report"
    # Bound at once, so that a name which the program does not export ends it here.
    world.environment |= {
        "LD_PRELOAD": str(PLUGIN),
        "LD_BIND_NOW": "1",
        "TOOL_PLUGIN_REPORT": str(report),
    }
    options = world.environment.get("ASAN_OPTIONS", "")
    world.environment["ASAN_OPTIONS"] = options + ":verify_asan_link_order=0"
    result = world.run(["-v"])
    assert result.returncode == 0, result.stderr
    owners = ("class", "SetProperty", "SetBool", "SetString")
    assert report.read_text().splitlines() == [
        "property TRUE TRUE TRUE",
        "slots 4 1",
        "settings 1 second",
        *(f"{name} {PROGRAM}" for name in owners),
    ]
