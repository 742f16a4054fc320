#!/usr/bin/env bash
# The vg.mgmt collection against a fleet (a benchmark, not a timed test):
# N simulated modules (default 100), one kestd each, reached over SSH through
# a private sshd on 127.0.0.1 with keys made for the run; a document per host;
# ansible-playbook with 25 forks and pipelining. Prints the wall time of the
# changing run, the run that changes nothing and a --check --diff run, with
# the CPU of Ansible (ansible-playbook and its ssh clients), of the vg-mgmt
# calls on the modules and of the kestd processes.
# Usage: bench_fleet.sh [MODULES]; VG_BENCH_BUILD_DIR chooses the build (built
# unless VG_BENCH_SKIP_BUILD is set). Everything stops on exit.
set -euo pipefail
cd "$(dirname "$0")/.."
source_dir=$PWD

modules=${1:-100}
forks=${VG_BENCH_FORKS:-25}
dir=${VG_BENCH_BUILD_DIR:-build/bench}
if [ -z "${VG_BENCH_SKIP_BUILD:-}" ]; then
    cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVG_BUILD_TESTS=OFF >/dev/null
    cmake --build "$dir" --target kestd vg-mgmt >/dev/null
fi
kestd=$(readlink -f "$dir/host/kestd/kestd")
vgm=$(readlink -f "$dir/tools/vg-mgmt")

work=$(mktemp -d /tmp/vg-fleet-XXXXXX)
pids=()
cleanup() {
    for p in "${pids[@]}"; do kill "$p" 2>/dev/null || true; done
    wait 2>/dev/null || true
    rm -rf "$work"
}
trap cleanup EXIT

# vg-mgmt on the modules, each call's CPU time appended to a log.
mkdir -p "$work/bin"
cat >"$work/bin/vg-mgmt" <<EOF
#!/usr/bin/env bash
TIMEFORMAT='%U %S'
{ time "$vgm" "\$@" 2>&3; } 3>&2 2>>"$work/tool-cpu.log"
EOF
chmod 755 "$work/bin/vg-mgmt"

# The modules: one kestd each.
inventory=$work/inventory.yml
printf 'kest_modules:\n  hosts:\n' >"$inventory"
for n in $(seq 1 "$modules"); do
    sock=$work/kestd-$n.sock
    "$kestd" --socket "$sock" >/dev/null 2>&1 &
    pids+=($!)
    printf '    mod%d: {vg_socket: "%s", vg_index: %d}\n' "$n" "$sock" "$n" >>"$inventory"
done

# A private sshd on a free loopback port.
port=$(python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
ssh-keygen -q -t ed25519 -N '' -f "$work/host_key"
ssh-keygen -q -t ed25519 -N '' -f "$work/client_key"
cp "$work/client_key.pub" "$work/authorized_keys"
cat >"$work/sshd_config" <<EOF
Port $port
ListenAddress 127.0.0.1
HostKey $work/host_key
AuthorizedKeysFile $work/authorized_keys
PidFile $work/sshd.pid
PermitRootLogin prohibit-password
StrictModes no
UsePAM no
PasswordAuthentication no
KbdInteractiveAuthentication no
AllowUsers $(id -un)
MaxStartups 200
MaxSessions 200
LogLevel ERROR
EOF
[ "$(id -u)" -ne 0 ] || mkdir -p -m 0755 /run/sshd
timeout 3600 "$(command -v sshd || echo /usr/sbin/sshd)" -D -e -f "$work/sshd_config" 2>"$work/sshd.log" &
pids+=($!)
for _ in $(seq 50); do (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null && break; sleep 0.1; done

cat >>"$inventory" <<EOF
  vars:
    ansible_connection: ssh
    ansible_host: 127.0.0.1
    ansible_port: $port
    ansible_user: $(id -un)
    ansible_python_interpreter: /nonexistent/python3
    ansible_ssh_private_key_file: $work/client_key
    ansible_ssh_common_args: -F /dev/null -o UserKnownHostsFile=/dev/null -o StrictHostKeyChecking=no -o IdentitiesOnly=yes
EOF
cat >"$work/fleet.yml" <<EOF
- hosts: kest_modules
  gather_facts: false
  environment: {PATH: "$work/bin:/usr/bin:/bin"}
  tasks:
    - name: the module's configuration
      vg.mgmt.config:
        socket: "{{ vg_socket }}"
        config:
          wifi:
            interfaces:
              "1": {ssid: {ssid: "{{ ssid_prefix | default('fleet') }}-{{ vg_index }}"}, channel: "{{ vg_index % 11 + 1 }}"}
          network:
            snat:
              - {private-ip: "192.168.225.{{ vg_index % 200 + 20 }}", private-port: 8080, global-port: 80, protocol: tcp}
EOF

export ANSIBLE_COLLECTIONS_PATH=$source_dir/ansible/collections ANSIBLE_HOME=$work/ansible LC_ALL=C.UTF-8
export ANSIBLE_PIPELINING=True ANSIBLE_HOST_KEY_CHECKING=False ANSIBLE_GATHERING=explicit ANSIBLE_NOCOLOR=1
export ANSIBLE_SSH_CONTROL_PATH_DIR=$work/cp ANSIBLE_SSH_ARGS="-o ControlMaster=auto -o ControlPersist=60s"

kestd_cpu() { # nanoseconds on a CPU of every kestd
    local t=0 p
    for p in "${pids[@]:0:$modules}"; do
        t=$((t + $(awk '{print $1}' "/proc/$p/schedstat")))
    done
    echo "$t"
}
tool_cpu() { awk '{u += $1; s += $2} END {printf "%.2f", u + s}' "$work/tool-cpu.log" 2>/dev/null || echo 0; }

run() { # name, expected changed count, ansible-playbook options
    local name=$1 want=$2
    shift 2
    : >"$work/tool-cpu.log"
    local k0 start end
    k0=$(kestd_cpu)
    start=$(date +%s.%N)
    /usr/bin/time -f '%U %S' -o "$work/ansible-cpu" ansible-playbook -f "$forks" -i "$inventory" "$work/fleet.yml" \
        "$@" >"$work/$name.log" 2>&1 || true
    end=$(date +%s.%N)
    local changed failed
    changed=$(grep -cE '^mod[0-9]+ +: .*changed=1' "$work/$name.log" || true)
    failed=$(grep -cE '^mod[0-9]+ +: .*(failed=[1-9]|unreachable=[1-9])' "$work/$name.log" || true)
    printf '%-22s %7.1f s wall   changed %3d/%d (want %d), failed %d   CPU: ansible %6.1f s, vg-mgmt %5.1f s, kestd %5.3f s\n' \
        "$name" "$(echo "$end - $start" | bc)" "$changed" "$modules" "$want" "$failed" \
        "$(awk '{print $1 + $2}' "$work/ansible-cpu")" "$(tool_cpu)" \
        "$(echo "($(kestd_cpu) - $k0) / 1000000000" | bc -l)"
}

echo "fleet: $modules modules, forks $forks, pipelining, over SSH to 127.0.0.1 ($(nproc) CPUs)"
run "changing run" "$modules"
run "no-change run" 0
run "--check --diff" "$modules" --check --diff -e ssid_prefix=checked
