-- Two roles to give to users of the database, for whoever may create roles; may be run again.
--   GRANT tarvex_loader TO collector;    loads runs and reads
--   GRANT tarvex_reader TO grafana;      reads
-- Neither may change tables or settings: these are their owner's, who ran the migrations.

DO $$
BEGIN
    IF NOT EXISTS (SELECT FROM pg_roles WHERE rolname = 'tarvex_reader') THEN
        CREATE ROLE tarvex_reader NOLOGIN;
    END IF;
    IF NOT EXISTS (SELECT FROM pg_roles WHERE rolname = 'tarvex_loader') THEN
        CREATE ROLE tarvex_loader NOLOGIN;
    END IF;
END
$$;

GRANT USAGE ON SCHEMA tarvex TO tarvex_reader, tarvex_loader;
GRANT SELECT ON ALL TABLES IN SCHEMA tarvex TO tarvex_reader, tarvex_loader;
GRANT INSERT ON tarvex.machine, tarvex.run, tarvex.run_module, tarvex.device, tarvex.run_device,
                tarvex.test, tarvex.test_result, tarvex.test_word, tarvex.measurement,
                tarvex.series, tarvex.run_remark TO tarvex_loader;
GRANT UPDATE ON tarvex.machine, tarvex.run, tarvex.device TO tarvex_loader;
-- What an unfinished run had is replaced once it has ended.
GRANT DELETE ON tarvex.run_module, tarvex.run_device, tarvex.test_result, tarvex.test_word,
                tarvex.measurement, tarvex.series, tarvex.run_remark TO tarvex_loader;
REVOKE EXECUTE ON FUNCTION tarvex.forget_runs_before(timestamptz) FROM PUBLIC;
