-- What is asked of a fleet. A test that was canceled, invalid or not applicable says nothing of its
-- device, so it neither counts for it nor against it.

-- Which way a measurement gets worse. The row with the least place whose pattern (of LIKE) a name fits
-- decides; what fits none is never worse. These are those of `tarvex-history worse`.
CREATE TABLE tarvex.watched_measurement (
    place integer PRIMARY KEY,
    pattern text NOT NULL,
    worse_when text NOT NULL CHECK (worse_when IN ('more', 'less')),
    -- It counts when it moved by more than this, and by more than this part of what it was.
    by_more_than double precision NOT NULL DEFAULT 0 CHECK (by_more_than >= 0),
    by_part double precision NOT NULL DEFAULT 0 CHECK (by_part >= 0)
);
INSERT INTO tarvex.watched_measurement (place, pattern, worse_when, by_more_than, by_part) VALUES
    (10, 'unreadable-%', 'more', 0, 0),
    (20, 'unwritable-%', 'more', 0, 0),
    (30, 'wrong-sectors', 'more', 0, 0),
    (40, 'slow-answers', 'more', 0, 0),
    (50, 'new-errors-%', 'more', 0, 0),
    (60, '%-not-corrected', 'more', 0, 0),
    (70, 'reallocated-sectors', 'more', 0, 0),
    (80, 'pending-sectors', 'more', 0, 0),
    (90, 'offline-uncorrectable%', 'more', 0, 0),
    (100, 'reported-uncorrectable%', 'more', 0, 0),
    (110, 'end-to-end-errors', 'more', 0, 0),
    (120, 'interface-crc-errors', 'more', 0, 0),
    (130, 'media-and-data-integrity-errors', 'more', 0, 0),
    (140, 'grown-defects', 'more', 0, 0),
    (150, 'smart-%-value', 'less', 2, 0),
    (160, 'percentage-used%', 'more', 0, 0),
    (170, 'available-spare', 'less', 0, 0),
    (180, '%-rate', 'less', 0, 0.2),
    (190, 'slowest-%', 'more', 0.1, 1),
    (200, 'random-read-%', 'more', 0.005, 0.5),
    (210, 'temperature%', 'more', 10, 0);

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

-- What is worse on a device in the last run that judged it: of each test the verdict, and what it
-- measured, beside the last time before that it was judged and that it measured the same.
CREATE VIEW tarvex.worsening_device AS
WITH latest AS (
    SELECT DISTINCT ON (device) device, run, machine, started, verdict
    FROM tarvex.device_run
    ORDER BY device, started DESC, run DESC
), result AS (
    SELECT result.device, result.run, result.position, run.started, test.module, test.test,
           result.verdict
    FROM tarvex.test_result AS result
    JOIN tarvex.counted_run AS run ON run.id = result.run
    JOIN tarvex.test ON test.id = result.test
    WHERE result.device IS NOT NULL
), judged AS (
    SELECT device, run, started, module, test, max(verdict) AS verdict
    FROM result
    WHERE verdict IN ('passed', 'warning', 'failed')
    GROUP BY device, run, started, module, test
), judged_before AS (
    SELECT judged.*, lag(verdict) OVER course AS before, lag(started) OVER course AS started_before
    FROM judged
    WINDOW course AS (PARTITION BY device, module, test ORDER BY started, run)
), watched AS (
    SELECT DISTINCT ON (known.name) known.name, watched_measurement.*
    FROM (SELECT DISTINCT name FROM tarvex.measurement) AS known
    JOIN tarvex.watched_measurement ON known.name LIKE watched_measurement.pattern
    ORDER BY known.name, watched_measurement.place
), value AS (
    SELECT result.device, result.run, result.started, result.module, result.test, measurement.name,
           measurement.unit, watched.worse_when, watched.by_more_than, watched.by_part,
           CASE watched.worse_when WHEN 'more' THEN max(measurement.value)
                                   ELSE min(measurement.value) END AS value
    FROM result
    JOIN tarvex.measurement
      ON measurement.run = result.run AND measurement.result = result.position
    JOIN watched ON watched.name = measurement.name
    WHERE measurement.value IS NOT NULL
    GROUP BY result.device, result.run, result.started, result.module, result.test,
             measurement.name, measurement.unit, watched.worse_when, watched.by_more_than,
             watched.by_part
), value_before AS (
    SELECT value.*, lag(value) OVER course AS before, lag(started) OVER course AS started_before
    FROM value
    WINDOW course AS (PARTITION BY device, module, test, name, unit ORDER BY started, run)
), change AS (
    SELECT device, run, module, test, 'verdict' AS what, before::text, verdict::text AS now,
           NULL::text AS unit, started_before
    FROM judged_before
    WHERE verdict > before
    UNION ALL
    SELECT device, run, module, test, name, before::text, value::text, unit, started_before
    FROM value_before
    WHERE (CASE worse_when WHEN 'more' THEN value - before ELSE before - value END) > by_more_than
      AND (CASE worse_when WHEN 'more' THEN value - before ELSE before - value END)
          > by_part * abs(before)
)
SELECT device.id AS device, device.module, device.name AS model, device.serial,
       machine.name AS machine, change.test, change.what, change.before, change.now, change.unit,
       change.started_before, latest.started AS latest_run
FROM change
JOIN latest ON latest.device = change.device AND latest.run = change.run
JOIN tarvex.device ON device.id = change.device
JOIN tarvex.machine ON machine.id = latest.machine
ORDER BY latest.verdict DESC, device.id, change.test, change.what <> 'verdict', change.what;

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
