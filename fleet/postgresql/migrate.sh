#!/bin/sh
# Brings the tables of a fleet's database to the version of this folder, step by step; each step as a
# whole or not at all. May be run again, and by two at once.
#
#   migrate.sh postgresql://HOST/DATABASE
#
# The user has to own the schema "tarvex", or be allowed to create it. No password belongs into the
# address: psql takes it from PGPASSFILE or PGPASSWORD, or asks for it.
set -eu

folder=$(CDPATH='' cd -- "$(dirname -- "$0")" && pwd -P)
# Anything that all who migrate agree on.
lock=7828537267364
# psql is not to read the user's own settings.
psql="psql -X -q -v ON_ERROR_STOP=1"

fail() {
    printf 'migrate: %s\n' "$*" >&2
    exit 1
}

# The version of the tables that are there; 0 for none.
version_of() {
    $psql -At -d "$1" <<'SQL'
SELECT to_regclass('tarvex.schema_version') IS NOT NULL AS is_there \gset
\if :is_there
SELECT coalesce(max(version), 0) FROM tarvex.schema_version;
\else
SELECT 0;
\endif
SQL
}

# Whoever comes second waits for the first, finds the step done, and leaves it.
take_step() {
    $psql -d "$1" -v step="$2" -v file="$3" -v lock="$lock" <<'SQL'
BEGIN;
SET LOCAL client_min_messages = warning;
SELECT pg_advisory_xact_lock(:lock) \g /dev/null
SELECT to_regclass('tarvex.schema_version') IS NOT NULL AS is_there \gset
\set is_done false
\if :is_there
SELECT coalesce(max(version), 0) >= :step AS is_done FROM tarvex.schema_version \gset
\endif
\if :is_done
\else
\i :file
\endif
COMMIT;
SQL
}

[ $# -eq 1 ] || fail "usage: migrate.sh postgresql://HOST/DATABASE"
command -v psql >/dev/null 2>&1 || fail "psql is not installed (Debian: postgresql-client)"

version=$(version_of "$1") || fail "the database cannot be asked for its version"
newest=0
for file in "$folder"/migrations/[0-9][0-9][0-9][0-9]-*.sql; do
    number=$(basename -- "$file" | sed 's/-.*//; s/^0*//')
    newest=$number
    [ "$number" -gt "$version" ] || continue
    take_step "$1" "$number" "$file" || fail "step $number failed; nothing of it stays"
    printf 'migrate: version %s\n' "$number"
done
[ "$version" -le "$newest" ] ||
    fail "the tables are of version $version, newer than $newest here; take the newer package"
