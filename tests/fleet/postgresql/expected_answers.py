"""What a fleet's views have to answer, by what the manual says of them (docs/fleet.md), from the runs themselves."""

from collections import defaultdict
from datetime import UTC, datetime, timedelta

from random_fleet import stamp

BADNESS = {"passed": 0, "warning": 1, "failed": 2}
SILENT_AFTER = timedelta(days=14)


def machine_of(run):
    return run.machine_id or ("named", run.machine)


def identity(run, device):
    """Two devices that have it are one."""
    where = None if device.is_known_everywhere else machine_of(run)
    return (device.module, device.key or device.model + device.serial, where)


def fits(pattern, name):
    start, star, end = pattern.partition("%")
    if not star:
        return name == pattern
    return len(name) >= len(start) + len(end) and name.startswith(start) and name.endswith(end)


class Course:
    """What was told of one device, run after run: (run, [(test, verdict or None, measured)]), oldest first."""

    def __init__(self, runs):
        judged = [number for number, (_, tests) in enumerate(runs) if self.verdicts(tests)]
        # Behind the last run that judged it nothing counts.
        self.runs = runs[: judged[-1] + 1] if judged else []
        self.judged = [(run, self.verdicts(tests)) for run, tests in self.runs if self.verdicts(tests)]

    @staticmethod
    def verdicts(tests):
        return [(test.name, verdict) for test, verdict, _ in tests if verdict in BADNESS]

    def runs_with(self, verdict):
        return [run for run, verdicts in self.judged if verdict in dict(map(reversed, verdicts))]

    def count(self, *wanted):
        return sum(verdict in wanted for _, verdicts in self.judged for _, verdict in verdicts)

    def changes(self, found_in):
        """Of each thing that `found_in` finds in the tests of the last run: what, (run, before), now."""
        *earlier, (_, last) = [(run, found_in(tests)) for run, tests in self.runs]
        for what, now in last.items():
            before = [(run, found[what]) for run, found in earlier if what in found]
            if before:
                yield what, before[-1], now


class ExpectedAnswers:
    """`rules` are the rows of watched_measurement, in order: (pattern, "more" or "less", amount, part)."""

    def __init__(self, told, rules, count_simulated, expected_machines):
        self.rules = rules
        self.expected_machines = expected_machines
        every = sorted(told, key=lambda each: each[0].start)
        self.names = {machine_of(run): run.machine for run, _ in every}
        self.counted = [(run, tests) for run, tests in every if count_simulated or not run.simulated]
        self.devices = {}
        runs = defaultdict(list)
        for run, tests in self.counted:
            by_device = defaultdict(list)
            for each in tests:
                by_device[identity(run, each[0].device)].append(each)
                self.devices[identity(run, each[0].device)] = each[0].device
            for device, found in by_device.items():
                runs[device].append((run, found))
        courses = {device: Course(found) for device, found in runs.items()}
        self.courses = {device: course for device, course in courses.items() if course.judged}

    def named(self, device):
        found = self.devices[device]
        run = self.courses[device].judged[-1][0]
        return (found.module, found.model, found.serial, self.names[machine_of(run)])

    def worst_device(self):
        for device, course in self.courses.items():
            if not course.count("failed", "warning"):
                continue
            last, verdicts = course.judged[-1]
            latest = max((verdict for _, verdict in verdicts), key=BADNESS.get)
            failed = course.runs_with("failed")
            ends = (stamp(failed[0].start), stamp(failed[-1].start)) if failed else ("", "")
            counts = (course.count("failed"), course.count("warning"), course.count(*BADNESS))
            yield (*self.named(device), latest, stamp(last.start), *map(str, counts),
                   str(len(failed)), str(len(course.judged)), *ends)  # fmt: skip

    def worst_verdicts(self, tests):
        """Of each test the worst verdict of one run."""
        found = {}
        for name, verdict in Course.verdicts(tests):
            found[name, "verdict", ""] = max(verdict, found.get((name, "verdict", ""), verdict), key=BADNESS.get)
        return found

    def rule_of(self, name):
        return next((rule for rule in self.rules if fits(rule[0], name)), None)

    def worst_values(self, tests):
        """Of each watched measurement of a test the worst value of one run."""
        found = {}
        for test, _, measured in tests:
            for name, value, unit in measured:
                rule = self.rule_of(name)
                if rule is None or value is None:
                    continue
                worst = max if rule[1] == "more" else min
                what = (test.name, name, unit)
                found[what] = worst(value, found.get(what, value))
        return found

    def is_worse(self, name, before, now):
        _, way, amount, part = self.rule_of(name)
        moved = now - before if way == "more" else before - now
        return moved > amount and moved > part * abs(before)

    def worsening_device(self):
        for device, course in self.courses.items():
            latest = stamp(course.judged[-1][0].start)
            for (test, what, unit), (run, before), now in course.changes(self.worst_verdicts):
                if BADNESS[now] > BADNESS[before]:
                    yield (*self.named(device), test, what, before, now, unit, stamp(run.start), latest)
            for (test, what, unit), (run, before), now in course.changes(self.worst_values):
                if self.is_worse(what, before, now):
                    yield (*self.named(device), test, what, f"{before:g}", f"{now:g}", unit,
                           stamp(run.start), latest)  # fmt: skip

    def silent_machine(self):
        latest = {machine_of(run): run.start for run, _ in self.counted}
        now = datetime.now(UTC).replace(tzinfo=None)
        for machine, name in self.names.items():
            if machine not in latest:
                yield (name, "")
            elif latest[machine] < now - SILENT_AFTER:
                yield (name, stamp(latest[machine]))
        for name in set(self.expected_machines) - set(self.names.values()):
            yield (name, "")

    def model_failure_rate(self):
        counts = defaultdict(lambda: [0, 0])
        for identity_of, course in self.courses.items():
            device = self.devices[identity_of]
            counts[device.module, device.model][0] += 1
            counts[device.module, device.model][1] += bool(course.runs_with("failed"))
        for key, numbers in counts.items():
            yield (*key, *map(str, numbers))
