#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# Two hundred pages by Slurm: a cluster of two nodes on this machine, started in a temporary folder
# and stopped again, runs an array of four tasks; one of them is killed midway and requeued. Called
# by scripts/test.sh --scale with the command's path.
set -euo pipefail
dibkit=${1:?usage: slurm.sh DIBKIT}
# shellcheck source=scripts/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/../../scripts/lib.sh"
need_packages slurm-wlm munge
work=$(mktemp -d)
chmod 755 "$work"
# shellcheck source=tests/scale/lib.sh
. tests/scale/lib.sh

cluster=$work/cluster
export SLURM_CONF=$cluster/slurm.conf

stop_cluster() {
  local pid
  for pid in "$cluster"/*.pid; do
    [ ! -s "$pid" ] || kill "$(cat "$pid")" 2>/dev/null || true
  done
  sleep 1
  rm -rf "$work"
}
trap stop_cluster EXIT

# Ports that nothing else should use; a cluster of the machine's own keeps its usual ones.
write_config() {
  local name
  name=$(hostname)
  cat >"$SLURM_CONF" <<CONF
ClusterName=scale
SlurmctldHost=$name(127.0.0.1)
SlurmctldPort=27817
SlurmUser=$(id -un)
SlurmdUser=$(id -un)
AuthType=auth/munge
AuthInfo=socket=$cluster/munge/socket
CredType=cred/munge
StateSaveLocation=$cluster/state
SlurmdSpoolDir=$cluster/spool-%n
SlurmctldPidFile=$cluster/slurmctld.pid
SlurmdPidFile=$cluster/slurmd-%n.pid
SlurmctldLogFile=$cluster/slurmctld.log
SlurmdLogFile=$cluster/slurmd-%n.log
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
JobAcctGatherType=jobacct_gather/none
AccountingStorageType=accounting_storage/none
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU
MpiDefault=none
SwitchType=switch/none
SchedulerParameters=requeue_delay=1
KillWait=2
NodeName=node0 NodeHostname=$name NodeAddr=127.0.0.1 Port=27818 CPUs=1
NodeName=node1 NodeHostname=$name NodeAddr=127.0.0.1 Port=27819 CPUs=1
PartitionName=scans Nodes=node0,node1 Default=YES State=UP
CONF
}

start_cluster() {
  mkdir -p "$cluster/munge" "$cluster/state"
  chmod 755 "$cluster" "$cluster/munge"
  head -c 1024 /dev/urandom >"$cluster/munge/key"
  chmod 400 "$cluster/munge/key"
  munged --force --key-file="$cluster/munge/key" --socket="$cluster/munge/socket" \
    --pid-file="$cluster/munged.pid" --log-file="$cluster/munge/log" \
    --seed-file="$cluster/munge/seed"
  write_config
  slurmctld -i
  slurmd -N node0
  slurmd -N node1
  local try
  for ((try = 0; try < 60; ++try)); do
    [ "$(sinfo -h -N -o %T 2>/dev/null | grep -c idle)" = 2 ] && return 0
    sleep 0.5
  done
  tail -n 5 "$cluster"/*.log >&2
  die "the two nodes did not come up"
}

# The job as docs/scale.md shows it.
write_job() {
  cat >"$work/job.sh" <<JOB
#!/bin/sh
#SBATCH --array=0-$((shards - 1))
#SBATCH --cpus-per-task=1
#SBATCH --requeue
#SBATCH --output=$work/task-%a.log
#SBATCH --open-mode=append
cd $work/scans
exec $dibkit resample --quiet --dpi 400 --files-from $work/list \\
  --shard \$SLURM_ARRAY_TASK_ID/$shards --output-dir $work/slurm --skip-existing \\
  --report $work/slurm-\$SLURM_ARRAY_TASK_ID.jsonl
JOB
}

# Waits for the first page of task 1, kills the task and puts it back into the queue.
requeue_midway() {
  local job=$1 try
  for ((try = 0; try < 600; ++try)); do
    [ -s "$work/slurm-1.jsonl" ] && break
    sleep 0.05
  done
  scontrol requeue "${job}_1" || die "task 1 could not be requeued"
  lines=$(wc -l <"$work/slurm-1.jsonl")
  [ "$lines" -ge 1 ] && [ "$lines" -lt $((pages / shards)) ] ||
    die "task 1 was not midway ($lines pages)"
  say "task 1 was killed after $lines of $((pages / shards)) pages"
}

wait_for() {
  local job=$1 try
  for ((try = 0; try < 600; ++try)); do
    [ -z "$(squeue -h -j "$job" 2>/dev/null)" ] && return 0
    sleep 0.5
  done
  squeue >&2
  tail -n 20 "$work"/task-*.log >&2
  die "the job did not end"
}

make_pages
run_alone
start_cluster
write_job
say "Slurm, an array of $shards tasks on two nodes"
job=$(sbatch --parsable "$work/job.sh")
requeue_midway "$job"
wait_for "$job"
cat "$work"/task-*.log
check_union "$work/slurm" "$work"/slurm-*.jsonl
say "Slurm: the same $pages files"
