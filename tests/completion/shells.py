"""The real shells on a pseudo terminal, with the completions of the build."""

import re
import shutil
from dataclasses import dataclass

import pexpect
from program import BINARY_DIR

SCRIPTS = BINARY_DIR / "share"
# Typed behind a line, it has the shell print the line between these marks.
SHOW_LINE = "\x07"
LINE = re.compile(r"LINE<(.*?)>END", re.S)
READY = "READY>"
WAIT = 60


@dataclass(frozen=True)
class Kind:
    """How a shell starts without anybody's settings, loads the completions, and shows its line."""

    name: str
    arguments: tuple[str, ...]
    setup: tuple[str, ...]


KINDS = {
    kind.name: kind
    for kind in (
        Kind(
            "bash",
            ("--norc", "--noprofile", "-i"),
            (
                "bind 'set enable-bracketed-paste off'; bind 'set page-completions off'",
                f"for file in {SCRIPTS}/bash-completion/completions/*; do . $file; done",
                r"""bind -x '"\C-g": printf "LINE<%s>END" "$READLINE_LINE"'""",
                "PS1=REA''DY'> '",
            ),
        ),
        Kind(
            "zsh",
            ("-f", "-i"),
            (
                f"fpath=({SCRIPTS}/zsh/vendor-completions $fpath); autoload -U compinit",
                "compinit -u -D; unset zle_bracketed_paste; setopt no_beep",
                'show_line() { print -rn -- "LINE<$BUFFER>END"; }; zle -N show_line',
                "bindkey '^G' show_line",
                "PROMPT=REA''DY'> '",
            ),
        ),
        Kind(
            "fish",
            ("--no-config", "-i"),
            (
                f"for file in {SCRIPTS}/fish/vendor_completions.d/*; source $file; end",
                r"""bind \cg 'printf "LINE<%s>END" (commandline -b | string collect)'""",
                "function fish_prompt; echo -n REA''DY'> '; end",
            ),
        ),
    )
}


class Shell:
    """One interactive shell in a world; leave the context to end it."""

    def __init__(self, kind, world):
        self.world = world
        environment = dict(world.environment)
        environment |= {
            "HOME": str(world.root),
            "TERM": "xterm",
            "INPUTRC": "/dev/null",
            "PATH": f"{BINARY_DIR}/bin:{environment['PATH']}",
        }
        self.kind = KINDS[kind]
        self.process = pexpect.spawn(
            shutil.which(kind),
            list(self.kind.arguments),
            env=environment,
            cwd=str(world.work_dir),
            encoding="utf-8",
            dimensions=(60, 400),
            timeout=WAIT,
        )

    def __enter__(self):
        for line in self.kind.setup:
            self.process.send(line + "\r")
        self.process.expect_exact(READY)
        return self

    def __exit__(self, *_):
        self.process.close(force=True)

    def line_after(self, typed):
        """What the command line holds once these keys are typed."""
        self.process.send(typed + SHOW_LINE)
        self.process.expect(LINE)
        return self.process.match.group(1)

    def screen_after(self, typed):
        """What the keys bring to the screen, and the line behind them."""
        line = self.line_after(typed)
        return self.process.before, line
