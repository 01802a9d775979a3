"""An environment that a stranger chose, as `sudo -E` keeps it, runs nothing and holds nothing up.

What the loader itself takes from the environment (LD_*) is not looked at: sudo takes it out.
"""

import socket

import pytest

# Far more than a start takes, also on a machine that is busy.
PATIENCE = 60
RUN = ["-Mstorage", "-Qp", "0"]


def command(stranger, name):
    """A bus address that is a program."""
    program = stranger.writes(name, f'#!/bin/sh\n: > "{stranger.folder}/{name}.ran"\n')
    program.chmod(0o755)
    return f"unixexec:path={program}"


def sound(stranger, variable, name, path=""):
    """A configuration of the sound library, found by the variable, that has a library loaded."""
    stranger.does("mkdir", "-p", "alsa")
    stranger.writes(
        name or path,
        f'@hooks [ {{ func stranger }} ]\nhook_func.stranger {{ lib "{stranger.plants()}" func x }}\n',
    )
    return {"SDL_AUDIODRIVER": "alsa", variable: stranger.folder / path}


def fifo(stranger, name):
    stranger.does("mkfifo", name)
    return stranger.folder / name


def locale_folder(stranger):
    """Where each file of a locale is a pipe that nobody writes to."""
    stranger.does("mkdir", "xx")
    fifo(stranger, "xx/LC_IDENTIFICATION")
    return stranger.folder


# A name, the variables that the stranger sets, and the command line on which they once counted.
HOSTILE = [
    ("SDL_DYNAMIC_API", ["-v"], lambda him: {"SDL_DYNAMIC_API": him.plants()}),
    ("system bus", ["-v"], lambda him: {"DBUS_SYSTEM_BUS_ADDRESS": command(him, "bus")}),
    ("session bus", ["-v"], lambda him: {"DBUS_SESSION_BUS_ADDRESS": command(him, "bus")}),
    ("HOME", ["-v"], lambda him: sound(him, "HOME", ".asoundrc")),
    ("XDG_CONFIG_HOME", ["-v"], lambda him: sound(him, "XDG_CONFIG_HOME", "alsa/asoundrc")),
    ("ALSA_CONFIG_PATH", ["-v"], lambda him: sound(him, "ALSA_CONFIG_PATH", "", "alsa.conf")),
    ("TZ", RUN, lambda him: {"TZ": fifo(him, "zone")}),
    ("TZ with a colon", RUN, lambda him: {"TZ": f":{fifo(him, 'zone')}"}),
    ("TZ upwards", RUN, lambda him: {"TZ": f"../../..{fifo(him, 'zone')}"}),
    ("TZDIR", RUN, lambda him: {"TZDIR": fifo(him, "zone").parent, "TZ": "zone"}),
    ("LOCPATH", ["-v"], lambda him: {"LOCPATH": locale_folder(him), "LC_ALL": "xx"}),
]


@pytest.mark.parametrize("words,hostile", [row[1:] for row in HOSTILE], ids=[row[0] for row in HOSTILE])
def test_runs_nothing_and_holds_nothing_up(world, stranger, words, hostile):
    expected = world.run(words, timeout=PATIENCE)
    assert expected.returncode == 0
    world.environment.update({name: str(value) for name, value in hostile(stranger).items()})
    found = world.run(words, timeout=PATIENCE)
    assert stranger.has_run() == []
    assert (found.returncode, found.stdout, found.stderr) == (0, expected.stdout, b"")


@pytest.mark.parametrize(
    "name", ["PULSE_SERVER", "DBUS_SYSTEM_BUS_ADDRESS", "DBUS_SESSION_BUS_ADDRESS"]
)
def test_asks_no_server_of_a_strangers(world, place, name):
    with socket.socket(socket.AF_UNIX) as server:
        server.bind(str(place / "server"))
        server.listen()
        server.setblocking(False)
        world.environment["SDL_AUDIODRIVER"] = "pulseaudio"
        world.environment[name] = f"unix:path={place}/server"
        if name == "PULSE_SERVER":
            world.environment[name] = f"unix:{place}/server"
        assert world.run(["-v"], timeout=PATIENCE).returncode == 0
        with pytest.raises(BlockingIOError):
            server.accept()
