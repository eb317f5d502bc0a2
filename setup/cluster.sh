#!/usr/bin/env bash
# ClickHouse servers of this user on loopback, each a shard of one cluster, for tests and trials:
#
#   setup/cluster.sh FOLDER start [N [PORT]]   starts N servers (3), and prints the address for --store
#   setup/cluster.sh FOLDER stop [K]           ends all of them, or the one with the number K
#   setup/cluster.sh FOLDER start-one K        starts the one with the number K again
#   setup/cluster.sh FOLDER kill K             ends it at once, as a crash would
#
# All that they write lies in FOLDER; stopping keeps it, so that `start` goes on with it. PORT is the
# first of 2N ports; without it free ones are taken. Needs the package clickhouse-server (setup.sh cluster).
# KR_CLUSTER_USER and KR_CLUSTER_PASSWORD, when set at the first start, are asked of every client.
set -euo pipefail

say() { printf 'cluster: %s\n' "$*" >&2; }
fail() {
    say "$*"
    exit 1
}
usage() {
    sed -n '4,7s/^# *//p' "${BASH_SOURCE[0]}" >&2
    exit 2
}

[ $# -ge 2 ] || usage
action=$2
mkdir -p "$1"
root=$(cd "$1" && pwd)

# Free ports that lie beside each other.
free_ports() { # free_ports COUNT
    local first port
    for ((first = 10000 + RANDOM % 15000; first < 30000; first += $1)); do # below those of clients
        for ((port = first; port < first + $1; ++port)); do
            ! (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null || continue 2
        done
        echo "$first"
        return
    done
    fail "there are no free ports"
}

http_port() { echo $((port + $1 - 1)); }
tcp_port() { echo $((port + count + $1 - 1)); }

# The shards as the servers see each other, and as clients do: system.clusters tells both.
shards() { # shards PORT_FUNCTION
    local n
    for ((n = 1; n <= count; ++n)); do
        printf '<shard><replica><host>127.0.0.1</host><port>%s</port><user>%s</user>' "$("$1" "$n")" "$user"
        printf '<password>%s</password></replica></shard>\n' "$password"
    done
}

# In an attribute or between tags of XML.
escaped() { sed 's/&/\&amp;/g; s/</\&lt;/g; s/>/\&gt;/g' <<<"$1"; }

write_config() { # write_config N
    local folder=$root/s$1 limit none=""
    mkdir -p "$folder/data" "$folder/tmp"
    for limit in queries errors result_rows read_rows execution_time; do
        none+="<$limit>0</$limit>"
    done
    (
        umask 077
        cat >"$folder/config.xml" <<XML
<yandex>
<logger><level>warning</level><log>$folder/log</log><errorlog>$folder/err</errorlog></logger>
<http_port>$(http_port "$1")</http_port><tcp_port>$(tcp_port "$1")</tcp_port>
<listen_host>127.0.0.1</listen_host><path>$folder/data/</path><tmp_path>$folder/tmp/</tmp_path>
<users_config>$folder/users.xml</users_config>
<default_profile>default</default_profile><default_database>default</default_database>
<mark_cache_size>268435456</mark_cache_size>
<compression><case><min_part_size>0</min_part_size><min_part_size_ratio>0</min_part_size_ratio>
<method>zstd</method></case></compression>
<remote_servers>
<objects>$(shards tcp_port)</objects>
<objects_http>$(shards http_port)</objects_http>
</remote_servers>
</yandex>
XML
        cat >"$folder/users.xml" <<XML
<yandex>
<profiles><default><max_memory_usage>2000000000</max_memory_usage></default></profiles>
<users><$user><password>$password</password><networks><ip>127.0.0.1</ip></networks>
<profile>default</profile><quota>default</quota></$user></users>
<quotas><default><interval><duration>3600</duration>$none</interval></default></quotas>
</yandex>
XML
    )
}

is_alive() { # is_alive ID: one that has ended and waits for its parent is not
    grep -qs '^State:[[:space:]]*[^Z[:space:]]' "/proc/$1/status"
}

# Whether that is the server's: after a restart of the machine the id may be another program's.
is_server() { # is_server N ID
    is_alive "$2" && tr '\0' '\n' 2>/dev/null <"/proc/$2/cmdline" |
        grep -xF -e "--config-file=$root/s$1/config.xml" >/dev/null
}

is_up() { # is_up N
    [ -f "$root/s$1/pid" ] && is_server "$1" "$(cat "$root/s$1/pid")"
}

start_server() { # start_server N
    local folder=$root/s$1
    ! is_up "$1" || return 0
    setsid clickhouse-server --config-file="$folder/config.xml" >"$folder/out" 2>&1 </dev/null &
    echo $! >"$folder/pid"
    until is_server "$1" $! || ! is_alive $!; do sleep 0.01; done # it has its own name
}

await() { # await N: false when it has ended
    local waited=0
    until [ "$(curl -sf --noproxy '*' "http://127.0.0.1:$(http_port "$1")/ping")" = Ok. ]; do
        is_up "$1" || return 1
        [ $((waited += 1)) -lt 600 ] || fail "server $1 does not answer within a minute"
        sleep 0.1
    done
    is_up "$1" # and it is not somebody else who answers
}

start_all() {
    local n
    for ((n = 1; n <= count; ++n)); do start_server "$n"; done
    for ((n = 1; n <= count; ++n)); do
        await "$n" || {
            ended=$n
            return 1
        }
    done
}

stop_server() { # stop_server N SIGNAL
    local id
    is_up "$1" || return 0
    id=$(cat "$root/s$1/pid")
    kill "-$2" "$id"
    while is_alive "$id"; do sleep 0.05; done
    rm -f "$root/s$1/pid"
}

address() { echo "clickhouse://127.0.0.1:$port/kr?cluster=objects"; }

# count, port: those of the first start.
load() {
    [ -f "$root/cluster" ] || fail "there is no cluster in $root"
    read -r count port <"$root/cluster"
}

number() { # number TEXT: that of a server
    if ! [[ ${1:-} =~ ^[1-9][0-9]?$ ]] || [ "$1" -gt "$count" ]; then
        fail "there is no server '${1:-}'"
    fi
    echo "$1"
}

start() {
    local n tries=3
    command -v clickhouse-server >/dev/null ||
        fail "clickhouse-server is not installed: run setup/setup.sh cluster"
    if [ -f "$root/cluster" ]; then
        load
        start_all || fail "server $ended has ended; $root/s$ended/err and $root/s$ended/out tell more"
        address
        return
    fi
    count=${1:-3}
    [[ $count =~ ^[1-9][0-9]?$ ]] || usage
    user=${KR_CLUSTER_USER:-default}
    password=$(escaped "${KR_CLUSTER_PASSWORD:-}")
    [[ $user =~ ^[a-z_][a-z0-9_]*$ ]] || fail "a user's name has letters, digits and _"
    [ -z "${2:-}" ] || tries=1
    for (( ; tries > 0; --tries)); do # somebody may be faster at a free port
        port=${2:-$(free_ports $((2 * count)))}
        for ((n = 1; n <= count; ++n)); do write_config "$n"; done
        if start_all; then
            echo "$count $port" >"$root/cluster"
            address
            return
        fi
        stop
    done
    fail "server $ended has ended; $root/s$ended/err and $root/s$ended/out tell more"
}

stop() {
    local n
    for ((n = 1; n <= count; ++n)); do
        if is_up "$n"; then kill "$(cat "$root/s$n/pid")"; fi
    done
    for ((n = 1; n <= count; ++n)); do stop_server "$n" TERM; done
}

case $action in
start) start "${@:3}" ;;
start-one)
    load
    n=$(number "${3:-}")
    start_server "$n"
    await "$n" || fail "server $n has ended; $root/s$n/err and $root/s$n/out tell more"
    ;;
stop)
    load
    [ $# -gt 2 ] || { stop && exit; }
    n=$(number "$3")
    stop_server "$n" TERM
    ;;
kill)
    load
    n=$(number "${3:-}")
    stop_server "$n" KILL
    ;;
*) usage ;;
esac
