#!/bin/sh
# test_kestctl_usage.sh KESTCTL KESTD: the answers that need no service, one
# row each: the command line, the exit status and the first line printed.
set -u
kestctl=$1 kestd=$2
export VG_KEST_SOCKET=/nonexistent/vg-kestd.sock
failed=0
check() { # want_status want_first_line program args...
    want_status=$1 want_line=$2
    shift 2
    got_line=$("$@" 2>&1 | head -n 1)
    "$@" > /dev/null 2>&1
    got_status=$?
    if [ "$got_status" != "$want_status" ] || [ "$got_line" != "$want_line" ]; then
        echo "FAIL $*: status $got_status, '$got_line' (want $want_status, '$want_line')"
        failed=1
    else
        echo "ok   $*"
    fi
}
check 0 "usage: kestctl [--socket PATH] <command...>" "$kestctl" --help
check 0 "usage: kestctl [--socket PATH] <command...>" "$kestctl" -h
check 2 "kestctl: no command given (kestctl --help lists them)" "$kestctl"
check 2 "kestctl: unknown command 'fial'; did you mean 'fail'?" "$kestctl" fial 3
check 2 "kestctl: unknown option '--sockt'; did you mean '--socket'?" "$kestctl" --sockt x ping
check 2 "kestctl: unknown command 'wifi chanel set'; did you mean 'wifi channel set'?" "$kestctl" fail wifi chanel set 104
check 2 "kestctl: fail needs an error code" "$kestctl" fail wifi channel set
check 2 "kestctl: --nth takes a number from 1" "$kestctl" fail --nth 0 wifi channel set 104
check 0 "usage: kestd [--socket PATH] [--state FILE] [--max-clients N]" "$kestd" --help
check 2 "kestd: unknown option '--sockt'; did you mean '--socket'?" "$kestd" --sockt x
check 2 "kestd: --max-clients takes a number from 1 to 4096" "$kestd" --max-clients 0
check 2 "kestd: --state needs a value" "$kestd" --state
exit $failed
