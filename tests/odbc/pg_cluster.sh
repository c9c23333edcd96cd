#!/usr/bin/env bash
# A throwaway PostgreSQL cluster for the ODBC tests: created in a fresh
# directory, listening on a Unix socket there only (no TCP port), owned by an
# unprivileged user because the server refuses to run as root.
#
#   pg_cluster.sh start STATE_FILE   start it; STATE_FILE receives either
#                                    "connection=<ODBC connection string>" or
#                                    "unavailable=<why the server cannot run>"
#   pg_cluster.sh stop STATE_FILE    stop it and remove its directory
#
# A missing installation is an error (exit 1): the set-up must install
# postgresql and odbc-postgresql. A server that is installed but cannot start
# here is written to STATE_FILE, and the tests that need it say so loudly.
set -euo pipefail

action=${1:?usage: pg_cluster.sh start|stop STATE_FILE}
state=${2:?usage: pg_cluster.sh start|stop STATE_FILE}
dir_file="$state.dir"

bindir=$(ls -d /usr/lib/postgresql/*/bin 2>/dev/null | sort -V | tail -n 1 || true)

# Runs a server program as the cluster's owner.
as_owner() {
    if [ "$(id -u)" -eq 0 ]; then
        runuser -u postgres -- "$@"
    else
        "$@"
    fi
}

start() {
    rm -f "$state" "$dir_file"
    if [ -z "$bindir" ] || [ ! -x "$bindir/initdb" ]; then
        echo "pg_cluster: PostgreSQL is not installed (scripts/bootstrap deps installs it)" >&2
        exit 1
    fi
    if [ "$(id -u)" -eq 0 ] && ! id postgres >/dev/null 2>&1; then
        echo "pg_cluster: running as root and there is no 'postgres' user to run the server" >&2
        exit 1
    fi
    local dir
    dir=$(mktemp -d "${TMPDIR:-/tmp}/korvan-pg-XXXXXX")
    echo "$dir" >"$dir_file"
    chmod 755 "$dir"
    [ "$(id -u)" -eq 0 ] && chown postgres: "$dir"
    local log="$dir/server.log"
    if ! as_owner "$bindir/initdb" -D "$dir/data" -U korvan -A trust -E UTF8 --no-locale \
        >"$dir/initdb.log" 2>&1; then
        echo "unavailable=initdb failed: $(tail -n 3 "$dir/initdb.log" | tr '\n' ' ')" >"$state"
        return 0
    fi
    # No TCP at all; the socket lives in the cluster's own directory.
    if ! as_owner "$bindir/pg_ctl" -D "$dir/data" -l "$log" -w -t 60 \
        -o "-c listen_addresses= -c unix_socket_directories=$dir -c fsync=off" start \
        >/dev/null 2>&1; then
        echo "unavailable=the server did not start: $(tail -n 3 "$log" | tr '\n' ' ')" >"$state"
        return 0
    fi
    echo "connection=Driver={PostgreSQL Unicode};Servername=$dir;Port=5432;Database=postgres;Uid=korvan;Pwd=;BoolsAsChar=0" >"$state"
}

stop() {
    [ -f "$dir_file" ] || return 0
    local dir
    dir=$(cat "$dir_file")
    if [ -f "$dir/data/postmaster.pid" ]; then
        as_owner "$bindir/pg_ctl" -D "$dir/data" -m fast -w stop >/dev/null 2>&1 || true
    fi
    rm -rf "$dir"
    rm -f "$dir_file"
}

case "$action" in
    start) start ;;
    stop) stop ;;
    *)
        echo "usage: pg_cluster.sh start|stop STATE_FILE" >&2
        exit 2
        ;;
esac
