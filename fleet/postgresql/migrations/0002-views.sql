-- What is asked of a fleet. A test that was canceled, invalid or not applicable says nothing of its
-- device, so it neither counts for it nor against it.

-- Which way a measurement gets worse, and by how much at least between two runs that counts.
CREATE TABLE tarvex.watched_measurement (
    name text PRIMARY KEY,
    worse_when text NOT NULL CHECK (worse_when IN ('greater', 'less')),
    by_at_least double precision NOT NULL DEFAULT 0 CHECK (by_at_least >= 0),
    -- In parts of the value of the run before; both bounds have to be reached.
    by_share double precision NOT NULL DEFAULT 0 CHECK (by_share >= 0)
);
INSERT INTO tarvex.watched_measurement (name, worse_when, by_at_least, by_share) VALUES
    ('unreadable-sectors', 'greater', 1, 0),
    ('unreadable-blocks', 'greater', 1, 0),
    ('unwritable-sectors', 'greater', 1, 0),
    ('wrong-sectors', 'greater', 1, 0),
    ('reallocated-sectors', 'greater', 1, 0),
    ('pending-sectors', 'greater', 1, 0),
    ('interface-crc-errors', 'greater', 1, 0),
    ('media-and-data-integrity-errors', 'greater', 1, 0),
    ('percentage-used', 'greater', 5, 0),
    ('available-spare', 'less', 5, 0),
    ('slow-answers', 'greater', 1, 0.5),
    ('late-answers', 'greater', 1, 0.5),
    ('read-rate', 'less', 0, 0.2),
    ('write-rate', 'less', 0, 0.2),
    ('outer-read-rate', 'less', 0, 0.2),
    ('middle-read-rate', 'less', 0, 0.2),
    ('inner-read-rate', 'less', 0, 0.2);

CREATE VIEW tarvex.counted_run AS
SELECT run.*
FROM tarvex.run
CROSS JOIN tarvex.setting
WHERE setting.count_simulated OR NOT run.simulated;

-- One row for each device and run in which it was judged: the worst that was found.
CREATE VIEW tarvex.device_run AS
SELECT result.device, result.run, run.machine, run.started, run.name,
       max(result.verdict) AS verdict,
       count(*) FILTER (WHERE result.verdict = 'failed') AS failed,
       count(*) FILTER (WHERE result.verdict = 'warning') AS warned,
       count(*) AS judged
FROM tarvex.test_result AS result
JOIN tarvex.counted_run AS run ON run.id = result.run
WHERE result.device IS NOT NULL AND result.verdict IN ('passed', 'warning', 'failed')
GROUP BY result.device, result.run, run.machine, run.started, run.name;

-- The devices that tests failed on or warned of, the worst first: what failed in its latest run
-- stands above what has been well since.
CREATE VIEW tarvex.worst_device AS
SELECT device.id AS device, device.module, device.name AS model, device.serial,
       machine.name AS machine, course.latest_verdict, course.latest_run,
       course.failed_tests, course.warned_tests, course.judged_tests,
       course.failed_runs, course.judged_runs, course.first_failed, course.latest_failed
FROM (
    SELECT device_run.device,
           (array_agg(verdict ORDER BY started DESC, run DESC))[1] AS latest_verdict,
           (array_agg(machine ORDER BY started DESC, run DESC))[1] AS latest_machine,
           max(started) AS latest_run,
           sum(failed)::bigint AS failed_tests,
           sum(warned)::bigint AS warned_tests,
           sum(judged)::bigint AS judged_tests,
           count(*) FILTER (WHERE verdict = 'failed') AS failed_runs,
           count(*) AS judged_runs,
           min(started) FILTER (WHERE verdict = 'failed') AS first_failed,
           max(started) FILTER (WHERE verdict = 'failed') AS latest_failed
    FROM tarvex.device_run
    GROUP BY device_run.device
) AS course
JOIN tarvex.device ON device.id = course.device
JOIN tarvex.machine ON machine.id = course.latest_machine
WHERE course.failed_tests + course.warned_tests > 0
ORDER BY course.latest_verdict DESC, course.failed_tests DESC, course.warned_tests DESC,
         course.latest_run DESC, device.id;

-- The two latest runs in which each device was judged.
CREATE VIEW tarvex.latest_two_runs AS
SELECT now_.device, now_.machine, now_.run, now_.started, now_.verdict,
       before.run AS run_before, before.started AS started_before, before.verdict AS verdict_before
FROM (
    SELECT device, machine, run, started, verdict,
           row_number() OVER (PARTITION BY device ORDER BY started DESC, run DESC) AS place
    FROM tarvex.device_run
) AS now_
JOIN (
    SELECT device, run, started, verdict,
           row_number() OVER (PARTITION BY device ORDER BY started DESC, run DESC) AS place
    FROM tarvex.device_run
) AS before ON before.device = now_.device AND before.place = 2
WHERE now_.place = 1;

-- What got worse on a device from its last run but one to its last: a verdict, or a measurement of
-- the same test in the direction and by the amount that watched_measurement has.
CREATE VIEW tarvex.worsening_device AS
WITH value AS (
    SELECT two.device, two.run AS latest_run, measurement.run, result.test, measurement.name,
           max(measurement.value) AS greatest, min(measurement.value) AS least
    FROM tarvex.latest_two_runs AS two
    JOIN tarvex.test_result AS result
      ON result.device = two.device AND result.run IN (two.run, two.run_before)
    JOIN tarvex.measurement
      ON measurement.run = result.run AND measurement.result = result.position
    GROUP BY two.device, two.run, measurement.run, result.test, measurement.name
), change AS (
    SELECT two.device, 'verdict' AS what, NULL::text AS test,
           two.verdict_before::text AS before, two.verdict::text AS now
    FROM tarvex.latest_two_runs AS two
    WHERE two.verdict > two.verdict_before
    UNION ALL
    SELECT now_.device, now_.name, test.module || '/' || test.diagnostic || '/' || test.test,
           before.value::text, now_.value::text
    FROM (
        SELECT value.device, value.latest_run, value.run, value.test, value.name,
               watched.worse_when, watched.by_at_least, watched.by_share,
               CASE watched.worse_when WHEN 'greater' THEN value.greatest ELSE value.least END AS value
        FROM value
        JOIN tarvex.watched_measurement AS watched ON watched.name = value.name
    ) AS now_
    JOIN (
        SELECT value.device, value.latest_run, value.run, value.test, value.name,
               CASE watched.worse_when WHEN 'greater' THEN value.greatest ELSE value.least END AS value
        FROM value
        JOIN tarvex.watched_measurement AS watched ON watched.name = value.name
    ) AS before
      ON before.device = now_.device AND before.test = now_.test AND before.name = now_.name
     AND before.run <> before.latest_run
    JOIN tarvex.test ON test.id = now_.test
    WHERE now_.run = now_.latest_run
      AND now_.value <> before.value
      AND (now_.value > before.value) = (now_.worse_when = 'greater')
      AND abs(now_.value - before.value) >= now_.by_at_least
      AND abs(now_.value - before.value) >= now_.by_share * abs(before.value)
)
SELECT device.id AS device, device.module, device.name AS model, device.serial,
       machine.name AS machine, change.what, change.test, change.before, change.now,
       two.started_before, two.started AS latest_run
FROM change
JOIN tarvex.latest_two_runs AS two ON two.device = change.device
JOIN tarvex.device ON device.id = change.device
JOIN tarvex.machine ON machine.id = two.machine
ORDER BY two.verdict DESC, device.id, change.what, change.test;

-- Machines that no run was heard of for as long as the setting says, those that never ran first.
CREATE VIEW tarvex.silent_machine AS
SELECT heard.name AS machine, heard.latest_run, now() - heard.latest_run AS silent_for
FROM (
    SELECT coalesce(machine.name, expected.name) AS name, max(run.started) AS latest_run
    FROM tarvex.machine
    FULL JOIN tarvex.expected_machine AS expected ON expected.name = machine.name
    LEFT JOIN tarvex.run ON run.machine = machine.id
    GROUP BY machine.id, coalesce(machine.name, expected.name)
) AS heard
CROSS JOIN tarvex.setting
WHERE heard.latest_run IS NULL OR heard.latest_run < now() - setting.silent_after
ORDER BY heard.latest_run NULLS FIRST, heard.name;

-- How many devices of each model ever failed. Models are in the order of the least share that is
-- likely (the lower bound of Wilson's interval at 95 %), so one failed of one does not lead.
CREATE VIEW tarvex.model_failure_rate AS
SELECT counted.module, counted.model, counted.devices, counted.failed_devices,
       counted.failed_devices::double precision / counted.devices AS share,
       (p + z * z / (2 * n) - z * sqrt(p * (1 - p) / n + z * z / (4 * n * n))) / (1 + z * z / n)
           AS share_at_least
FROM (
    SELECT device.module, device.name AS model, count(*) AS devices,
           count(*) FILTER (WHERE worst.verdict = 'failed') AS failed_devices,
           count(*)::double precision AS n,
           count(*) FILTER (WHERE worst.verdict = 'failed')::double precision / count(*) AS p,
           1.959964::double precision AS z
    FROM tarvex.device
    JOIN (
        SELECT device, max(verdict) AS verdict FROM tarvex.device_run GROUP BY device
    ) AS worst ON worst.device = device.id
    GROUP BY device.module, device.name
) AS counted
ORDER BY share_at_least DESC, counted.failed_devices DESC, counted.module, counted.model;

-- Removes what lies longer back, for who wants to keep a year; gives the number of runs.
CREATE FUNCTION tarvex.forget_runs_before(moment timestamptz) RETURNS bigint
LANGUAGE sql AS $$
    WITH gone AS (DELETE FROM tarvex.run WHERE started < moment RETURNING 1)
    SELECT count(*) FROM gone
$$;

INSERT INTO tarvex.schema_version (version) VALUES (2);
