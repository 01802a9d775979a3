-- What got worse, in one pass over the results and one over what they measured, by numbers, instead of a sort
-- of all of them by their texts. And a machine that only ran over scenarios is not heard of while those do not count.

-- One row that is joined would be taken for many, and what it is joined with for many times as much.
CREATE OR REPLACE VIEW tarvex.counted_run AS
SELECT run.*
FROM tarvex.run
WHERE NOT run.simulated OR (SELECT count_simulated FROM tarvex.setting);

CREATE OR REPLACE VIEW tarvex.worsening_device AS
WITH counted AS MATERIALIZED (
    -- Of two runs the later one has the greater turn.
    SELECT id, machine, started, row_number() OVER (ORDER BY started, id)::integer AS turn
    FROM tarvex.counted_run
), same_test AS MATERIALIZED (
    -- A test is held against itself, whichever diagnostic it was part of.
    SELECT id, module, test, min(id) OVER (PARTITION BY module, test) AS test_id FROM tarvex.test
), result AS MATERIALIZED (
    SELECT test_result.device, test_result.run, test_result.position, same_test.test_id, counted.turn,
           -- None where nothing was said of the device. With the turn in front the greatest of several is the
           -- worst of the last time.
           counted.turn::bigint * 4
               + CASE test_result.verdict WHEN 'passed' THEN 0 WHEN 'warning' THEN 1 WHEN 'failed' THEN 2 END
               AS judgement
    FROM tarvex.test_result
    JOIN counted ON counted.id = test_result.run
    JOIN same_test ON same_test.id = test_result.test
    WHERE test_result.device IS NOT NULL
), latest AS MATERIALIZED (
    SELECT device, (max(judgement) / 4)::integer AS turn, max(judgement) % 4 AS badness
    FROM result
    WHERE judgement IS NOT NULL
    GROUP BY device
), judged AS (
    SELECT result.device, result.test_id,
           max(judgement) FILTER (WHERE result.turn = latest.turn) AS now,
           max(judgement) FILTER (WHERE result.turn < latest.turn) AS before
    FROM result
    JOIN latest USING (device)
    WHERE judgement IS NOT NULL
    GROUP BY result.device, result.test_id
), watched AS MATERIALIZED (
    SELECT DISTINCT ON (known.name) known.name, by_more_than, by_part,
           CASE worse_when WHEN 'more' THEN 1 ELSE -1 END::double precision AS way
    FROM (SELECT DISTINCT name FROM tarvex.measurement) AS known
    JOIN tarvex.watched_measurement ON known.name LIKE watched_measurement.pattern
    ORDER BY known.name, watched_measurement.place
), measured AS (
    -- Turned so that more is worse.
    SELECT result.device, result.test_id, measurement.name, measurement.unit,
           max(way * value) FILTER (WHERE result.turn = latest.turn) AS now,
           max(ARRAY[result.turn, way * value]) FILTER (WHERE result.turn < latest.turn) AS before
    FROM result
    JOIN latest USING (device)
    JOIN tarvex.measurement
      ON measurement.run = result.run AND measurement.result = result.position
    JOIN watched ON watched.name = measurement.name
    WHERE value IS NOT NULL AND result.turn <= latest.turn
    GROUP BY result.device, result.test_id, measurement.name, measurement.unit
), change AS (
    SELECT device, test_id, 'verdict' AS what, words[before % 4 + 1] AS before, words[now % 4 + 1] AS now,
           NULL::text AS unit, (before / 4)::integer AS turn_before
    FROM judged
    CROSS JOIN (VALUES (ARRAY['passed', 'warning', 'failed'])) AS badness (words)
    WHERE now % 4 > before % 4
    UNION ALL
    SELECT device, test_id, name, (way * before[2])::text, (way * now)::text, unit, before[1]::integer
    FROM measured
    JOIN watched USING (name)
    WHERE now - before[2] > by_more_than AND now - before[2] > by_part * abs(before[2])
)
SELECT device.id AS device, device.module, device.name AS model, device.serial,
       machine.name AS machine, same_test.test, change.what, change.before, change.now, change.unit,
       counted_before.started AS started_before, counted.started AS latest_run
FROM change
JOIN latest ON latest.device = change.device
JOIN counted ON counted.turn = latest.turn
JOIN counted AS counted_before ON counted_before.turn = change.turn_before
JOIN same_test ON same_test.id = change.test_id
JOIN tarvex.device ON device.id = change.device
JOIN tarvex.machine ON machine.id = counted.machine
ORDER BY latest.badness DESC, device.id, same_test.test, change.what <> 'verdict', change.what;

CREATE OR REPLACE VIEW tarvex.silent_machine AS
SELECT heard.name AS machine, heard.latest_run, now() - heard.latest_run AS silent_for
FROM (
    SELECT coalesce(machine.name, expected.name) AS name, max(run.started) AS latest_run
    FROM tarvex.machine
    FULL JOIN tarvex.expected_machine AS expected ON expected.name = machine.name
    LEFT JOIN tarvex.counted_run AS run ON run.machine = machine.id
    GROUP BY machine.id, coalesce(machine.name, expected.name)
) AS heard
WHERE heard.latest_run IS NULL
   OR heard.latest_run < now() - (SELECT silent_after FROM tarvex.setting)
ORDER BY heard.latest_run NULLS FIRST, heard.name;

INSERT INTO tarvex.schema_version (version) VALUES (3);
