"""The unit of the run that nobody watches, in a machine that systemd runs."""

import json
from dataclasses import dataclass

SERVICE = "tarvex-diagnostics.service"
TIMER = "tarvex-diagnostics.timer"
ERROR, WARNING, NOTICE, INFO = 3, 4, 5, 6
STATE = "/var/lib/tarvex"


@dataclass
class Entry:
    priority: int
    text: str


class Services:
    """The unit and what the journal has of it since the test began."""

    def __init__(self, guest, binaries):
        """`binaries` is the folder in which the programs are installed."""
        self.guest = guest
        self.binaries = binaries
        self.cursor = json.loads(self.journal("-n", "1"))["__CURSOR"]

    def journal(self, *words):
        return self.guest.said("journalctl", "-q", "-o", "json", *words)

    def entries(self):
        """What the run itself said."""
        self.guest.said("journalctl", "--sync")
        # With "-t" as well, journalctl would leave out the first one behind the cursor.
        lines = self.journal(f"--after-cursor={self.cursor}").splitlines()
        said = [json.loads(line) for line in lines]
        return [Entry(int(entry["PRIORITY"]), entry["MESSAGE"]) for entry in said
                if entry.get("SYSLOG_IDENTIFIER") == "tarvex-diagnostics"]  # fmt: skip

    def property(self, name, unit=SERVICE):
        return self.guest.said("systemctl", "show", "-P", name, unit).strip()

    def start(self):
        """Whether systemd says that it did well."""
        return self.guest.run("systemctl", "start", SERVICE).returncode == 0

    def wait_until(self, condition):
        """A command of the shell, in the machine."""
        self.guest.said("timeout", "60", "sh", "-c", f"until {condition} 2>/dev/null; do sleep 0.1; done")

    def verdicts(self):
        """(test, device's place, verdict) of each test of the newest log."""
        folder = f"{STATE}/log"
        newest = max(self.guest.list(folder))
        said = self.guest.said(f"{self.binaries}/tarvex-history", "run", f"{folder}/{newest}", "--json")
        run = json.loads(said)
        places = [device["place"] for device in run["devices"]]
        return sorted((test["test"], places[test["device"]], test["verdict"]) for test in run["tests"])

    def run_soon(self):
        """Switches the timer on, with a time of the test's own in place of the week, until it has run."""
        self.guest.write(f"/run/systemd/system/{TIMER}.d/soon.conf",
                         "[Timer]\nOnCalendar=\nOnActiveSec=1\nRandomizedDelaySec=0\nAccuracySec=1us\n",
                         mode=0o644)  # fmt: skip
        self.guest.said("systemctl", "daemon-reload")
        self.guest.said("systemctl", "enable", "--now", TIMER)
        self.wait_until(f'test "$(systemctl show -P ActiveState {SERVICE})" = activating')
        # Waits for the run that goes on, and starts no other.
        done = self.start()
        self.guest.said("systemctl", "disable", "--now", TIMER)
        return done
