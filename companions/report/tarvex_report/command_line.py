"""The command line of tarvex-report."""

import argparse
import signal
import sys
from collections.abc import Sequence

from .faults import ReportFault
from .gather import Archive, gather
from .output import write
from .page import page_of

DONE = 0
NOT_DONE = 1

ABOUT = "Makes one self-contained web page of runs, to print, to mail and to keep."
EXAMPLES = """\
A RUN is a log, its name or an unambiguous beginning of it, "last", or a file with what
`tarvex-history run RUN --json` tells ("-": standard input). Of several runs the page shows each, and
the courses of their devices over time.

  tarvex-report last -o report.html
  tarvex-report /media/stick/*.jsonl -o machine.html
  ssh workshop tarvex-history run last --json | tarvex-report - -o workshop.html

The page needs nothing else: no network, no scripts, no other file. The exit status is 0 when it was
made, whatever the runs say; 1 when it was not; 2 when the command line is wrong.
"""


def parser(version: str) -> argparse.ArgumentParser:
    made = argparse.ArgumentParser(
        prog="tarvex-report",
        description=ABOUT,
        epilog=EXAMPLES,
        formatter_class=argparse.RawDescriptionHelpFormatter,
        allow_abbrev=False,
    )
    made.add_argument("runs", nargs="+", metavar="RUN", help="the runs to show")
    made.add_argument(
        "-o",
        "--output",
        required=True,
        metavar="FILE",
        help='the page; a file of that name is replaced, "-" is standard output',
    )
    made.add_argument(
        "--logs", action="append", default=[], metavar="FOLDER", help="where the logs lie; repeatable"
    )
    made.add_argument("--state", metavar="FOLDER", help="the state folder, for /var/lib/tarvex")
    made.add_argument("--version", action="version", version=f"tarvex-report {version}")
    return made


def main(words: Sequence[str], version: str) -> int:
    """Does what the words say; the status of the process."""
    signal.signal(signal.SIGINT, signal.SIG_DFL)  # ends it as other signals do, without a traceback
    asked = parser(version).parse_args(words)
    try:
        runs = gather(asked.runs, Archive(tuple(asked.logs), asked.state))
        write(asked.output, page_of(runs, version))
    except ReportFault as fault:
        print(f"tarvex-report: {fault}", file=sys.stderr)
        return NOT_DONE
    return DONE
