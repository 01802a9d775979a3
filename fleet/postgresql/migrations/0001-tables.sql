-- What is known of a fleet: its machines, their runs, the devices, and what each test found.
-- One row of `run` for each log. All else of a run hangs on it and goes with it.

CREATE SCHEMA tarvex;

CREATE TABLE tarvex.schema_version (
    version integer PRIMARY KEY,
    applied timestamptz NOT NULL DEFAULT now()
);

-- From what counts least to what counts most: of several verdicts the greatest is that of them all.
CREATE TYPE tarvex.verdict AS ENUM (
    'not applicable', 'invalid', 'passed', 'canceled', 'warning', 'unfinished', 'failed'
);
-- From what may still change to what is final.
CREATE TYPE tarvex.run_state AS ENUM ('running', 'cut', 'crashed', 'complete');

CREATE TABLE tarvex.machine (
    id integer GENERATED ALWAYS AS IDENTITY PRIMARY KEY,
    -- The machine's own id where its logs have one, otherwise its name.
    key text NOT NULL UNIQUE,
    name text NOT NULL
);

CREATE TABLE tarvex.run (
    id bigint GENERATED ALWAYS AS IDENTITY PRIMARY KEY,
    machine integer NOT NULL REFERENCES tarvex.machine,
    -- The name of its log, which with the machine says which run it is.
    name text NOT NULL,
    state tarvex.run_state NOT NULL,
    -- How long the log was when it was loaded: of two that have no end the longer one counts.
    log_bytes bigint NOT NULL,
    program text,
    kernel text,
    started timestamptz NOT NULL,
    ended timestamptz,
    simulated boolean NOT NULL,
    verdict tarvex.verdict NOT NULL,
    loaded timestamptz NOT NULL DEFAULT now(),
    UNIQUE (machine, name)
);
CREATE INDEX run_started ON tarvex.run (started);
CREATE INDEX run_of_machine ON tarvex.run (machine, started DESC);

CREATE TABLE tarvex.run_module (
    run bigint NOT NULL REFERENCES tarvex.run ON DELETE CASCADE,
    position integer NOT NULL,
    name text NOT NULL,
    version text,
    PRIMARY KEY (run, position)
);

CREATE TABLE tarvex.device (
    id integer GENERATED ALWAYS AS IDENTITY PRIMARY KEY,
    -- Holds over runs, and over machines for a device that has a serial number.
    key text NOT NULL UNIQUE,
    module text NOT NULL,
    name text NOT NULL,
    serial text
);
CREATE INDEX device_model ON tarvex.device (name);

-- Which devices a run found, and where.
CREATE TABLE tarvex.run_device (
    run bigint NOT NULL REFERENCES tarvex.run ON DELETE CASCADE,
    position integer NOT NULL,
    device integer NOT NULL REFERENCES tarvex.device,
    place text,
    PRIMARY KEY (run, position)
);
CREATE INDEX run_device_device ON tarvex.run_device (device, run);

CREATE TABLE tarvex.test (
    id integer GENERATED ALWAYS AS IDENTITY PRIMARY KEY,
    module text NOT NULL,
    diagnostic text NOT NULL,
    test text NOT NULL,
    UNIQUE (module, diagnostic, test)
);

-- Results and what belongs to them are kept by run, so that a run is loaded, read and removed as one.
CREATE TABLE tarvex.test_result (
    run bigint NOT NULL REFERENCES tarvex.run ON DELETE CASCADE,
    position integer NOT NULL,
    test integer NOT NULL REFERENCES tarvex.test,
    device integer REFERENCES tarvex.device,
    started timestamptz,
    ended timestamptz,
    seconds double precision,
    verdict tarvex.verdict NOT NULL,
    parameters jsonb,
    PRIMARY KEY (run, position)
);
CREATE INDEX test_result_device ON tarvex.test_result (device, run);

CREATE TABLE tarvex.test_word (
    run bigint NOT NULL REFERENCES tarvex.run ON DELETE CASCADE,
    result integer NOT NULL,
    position integer NOT NULL,
    severity text NOT NULL,
    text text NOT NULL,
    PRIMARY KEY (run, result, position)
);

CREATE TABLE tarvex.measurement (
    run bigint NOT NULL REFERENCES tarvex.run ON DELETE CASCADE,
    result integer NOT NULL,
    position integer NOT NULL,
    name text NOT NULL,
    -- Null for what is no finite number.
    value double precision,
    unit text,
    limits jsonb,
    PRIMARY KEY (run, result, position)
);

CREATE TABLE tarvex.series (
    run bigint NOT NULL REFERENCES tarvex.run ON DELETE CASCADE,
    result integer NOT NULL,
    position integer NOT NULL,
    name text NOT NULL,
    -- CURVE, HISTOGRAM, RANGES, ...
    kind text,
    unit text,
    axis text,
    axis_unit text,
    positions double precision[] NOT NULL,
    point_values double precision[] NOT NULL,
    PRIMARY KEY (run, result, position),
    CHECK (cardinality(positions) = cardinality(point_values))
);

-- Faults of the software or of its surroundings, and what else the log says of the run as a whole.
CREATE TABLE tarvex.run_remark (
    run bigint NOT NULL REFERENCES tarvex.run ON DELETE CASCADE,
    position integer NOT NULL,
    symptom text,
    severity text,
    text text,
    PRIMARY KEY (run, position)
);

-- Which machines should be heard of, for who wants to know of those that never were.
CREATE TABLE tarvex.expected_machine (
    name text PRIMARY KEY
);

-- One row: what the views go by.
CREATE TABLE tarvex.setting (
    single boolean PRIMARY KEY DEFAULT true CHECK (single),
    -- Runs over a scenario say nothing of hardware.
    count_simulated boolean NOT NULL DEFAULT false,
    silent_after interval NOT NULL DEFAULT '14 days'
);
INSERT INTO tarvex.setting DEFAULT VALUES;

INSERT INTO tarvex.schema_version (version) VALUES (1);
