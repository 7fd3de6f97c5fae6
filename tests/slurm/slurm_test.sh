#!/usr/bin/env bash
# Recovers the sample card with a Slurm cluster of one node, this one, and compares with what one run gives.
#   slurm_test.sh SALVOR SOURCE_DIR
# Status 77: there is no Slurm here, or it may not be started.
set -euo pipefail
salvor=$1 source=$2

skip() { echo "skipped: $*"; exit 77; }
[[ $EUID -eq 0 ]] || skip "Slurm's daemons are started by root"
for program in slurmctld slurmd sbatch munged; do
    command -v "$program" >/dev/null || skip "$program is missing; install slurmctld, slurmd, slurm-client and munge"
done

dir=$(mktemp -d)
stop() {
    local file pids=()
    for file in "$dir"/*.pid; do
        [[ ! -f $file ]] || pids+=("$(cat "$file")")
    done
    [[ ${#pids[@]} -eq 0 ]] || kill "${pids[@]}" 2>/dev/null || true
    for ((i = 0; i < 300; ++i)); do
        if [[ ${#pids[@]} -eq 0 ]] || ! kill -0 "${pids[@]}" 2>/dev/null; then
            break
        fi
        sleep 0.1
    done
    rm -rf "$dir"
}
trap stop EXIT
mkdir "$dir"/{state,spool,log}
head -c 1024 /dev/urandom >"$dir/munge.key"
chmod 600 "$dir/munge.key"
munged --force --key-file="$dir/munge.key" --socket="$dir/munge.socket" --log-file="$dir/log/munged" \
    --pid-file="$dir/munged.pid" --seed-file="$dir/munge.seed" --num-threads=1
node=$(hostname -s)
# The node claims as many processors, whatever it has: jobs start once a second, so that all of an array start together.
segments=3
# Above the ports that the system assigns by itself.
port=$((61000 + $$ % 4000))
cat >"$dir/slurm.conf" <<END
ClusterName=test
SlurmctldHost=$node(127.0.0.1)
SlurmctldPort=$port
SlurmdPort=$((port + 1))
SlurmUser=root
AuthType=auth/munge
AuthInfo=socket=$dir/munge.socket
CredType=cred/munge
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
JobAcctGatherType=jobacct_gather/none
AccountingStorageType=accounting_storage/none
SwitchType=switch/none
MpiDefault=none
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU
SlurmdParameters=config_overrides
SchedulerParameters=sched_interval=1,batch_sched_delay=0
StateSaveLocation=$dir/state
SlurmdSpoolDir=$dir/spool
SlurmctldPidFile=$dir/slurmctld.pid
SlurmdPidFile=$dir/slurmd.pid
SlurmctldLogFile=$dir/log/slurmctld
SlurmdLogFile=$dir/log/slurmd
NodeName=$node NodeAddr=127.0.0.1 CPUs=$segments State=UNKNOWN
PartitionName=all Nodes=ALL Default=YES State=UP
END
export SLURM_CONF=$dir/slurm.conf SALVOR=$salvor
slurmctld -i
slurmd
for ((i = 0; i < 60; ++i)); do
    [[ $(sinfo -h -o %T 2>/dev/null) == idle ]] && break
    sleep 0.5
done
[[ $(sinfo -h -o %T) == idle ]] || skip "Slurm's node does not get ready: $(tail -n 2 "$dir/log/slurmd")"

"$salvor" recover "$source/samples/card.img" --out "$dir/alone" --quiet
last=$("$source/contrib/slurm/submit" "$source/samples/card.img" "$dir/cluster" $segments)
for ((i = 0; i < 400; ++i)); do
    state=$(scontrol show job "$last" -o 2>/dev/null | grep -o 'JobState=[A-Z]*' || true)
    [[ -z $state || $state =~ PENDING|RUNNING|COMPLETING ]] || break
    sleep 0.5
done
if [[ $state != JobState=COMPLETED ]]; then
    echo "the last job: $state"
    squeue
    tail -n 5 "$dir"/cluster.logs/*
    exit 1
fi

# All files are equal, and so are finds, outcomes and report except for times, paths and what is noted along the
# way.
plain() {
    grep -v '"record":"\(finding\|refused\|header\|progress\)"' "$1" |
        sed -E "s#$dir/(alone|cluster)##g; s/\"(seconds|bytes_per_second)\":[0-9.e+-]+/\"\1\":0/g"
}
diff -r --exclude='*.jsonl*' --exclude=segments --exclude=scan.json --exclude=index.html "$dir/alone" "$dir/cluster"
for file in finds outcomes report skipped; do
    diff <(plain "$dir/alone/$file.jsonl") <(plain "$dir/cluster/$file.jsonl") || { echo "$file.jsonl differs"; exit 1; }
done
echo "the cluster's $(find "$dir/cluster" -mindepth 2 -type f | wc -l) files are those of one run"
