#!/usr/bin/env bash
# A rehearsal in parts: by GNU parallel over ssh on two hosts, which are namespaces here, and as
# a Slurm array on this machine. A worker is killed half way. The merged reports are those of one
# process, to the byte.
#   engines.sh ORBA SOURCES COUNT|FLEET [BEFORE]
# COUNT configurations are made, or those of the archive FLEET are taken. Two defaults are rehearsed;
# with BEFORE, the path of another orba, that one and ORBA.
# Ends with 77, and says why, where root, sshd, parallel or Slurm are missing.
set -euo pipefail
orba=$(readlink -f "$1") sources=$(readlink -f "$2") fleet=${3:-1000} sides=(this this)
shards=4 change=(--set SPIFWEnabled=1 --default BlockLAND=1)
[ $# -lt 4 ] || { sides=("$(readlink -f "$4")" this) change=(); }

skip() {
  echo "rehearse/engines: $*"
  [ "${CI:-}" = true ] && exit 1
  exit 77
}
[ "$(id -u)" = 0 ] || skip "needs root, for namespaces and daemons"
for program in sshd parallel slurmctld slurmd sbatch munged ip; do
  PATH=$PATH:/usr/sbin command -v $program >/dev/null || skip "there is no $program"
done
export PATH=$PATH:/usr/sbin
work=$(mktemp -d /tmp/orba-engines-XXXXXX)
chmod 755 "$work"
started=() hosts=()
clean() {
  local id
  for id in "${started[@]}"; do kill "$id" 2>/dev/null || true; done
  for id in "${hosts[@]}"; do
    ip netns pids "$id" 2>/dev/null | xargs -r kill 2>/dev/null || true
    ip netns del "$id" 2>/dev/null || true
  done
  ip link del orba-engines 2>/dev/null || true
  rm -rf "$work"
}
trap clean EXIT
say() { printf '== %s (%d s)\n' "$*" "$SECONDS"; }
same() {  # the report of one process, and another
  diff -rq --exclude=state.json --exclude=lists "$work/one" "$1" || { echo "$1 is another report"; exit 1; }
}

if [ -f "$fleet" ]; then
  cp "$fleet" "$work/fleet.tar.zst"
else
  "$sources/bench/fleet.py" "$fleet" "$work/fleet.tar.zst"
fi
cd "$work"
say "the fleet is there"
code=0
"$orba" rehearse "${sides[@]}" fleet.tar.zst "${change[@]}" --out one --jobs 2 >one.log || code=$?
[ "$code" -le 1 ] || { cat one.log; exit 1; }
changes=$code
say "one process: $(sed -n 3p one/report.txt)"

# ---- two hosts, which see the same folder ----
ip link add orba-engines type bridge
ip addr add 10.213.0.1/24 dev orba-engines
ip link set orba-engines up
ssh-keygen -q -t ed25519 -N '' -f host_key
ssh-keygen -q -t ed25519 -N '' -f key
mkdir -p /run/sshd
for number in 2 3; do
  host=orba-host$number
  ip netns add $host
  hosts+=($host)
  ip link add vo$number type veth peer name eth0 netns $host
  ip link set vo$number master orba-engines up
  ip -n $host addr add 10.213.0.$number/24 dev eth0
  ip -n $host link set eth0 up
  ip -n $host link set lo up
  ip netns exec $host "$(command -v sshd)" -f /dev/null -h "$work/host_key" -o "ListenAddress=10.213.0.$number" \
    -o "AuthorizedKeysFile=$work/key.pub" -o PermitRootLogin=yes -o StrictModes=no -o UsePAM=no \
    -o "PidFile=$work/sshd$number.pid" -D 2>"sshd$number.log" &
  started+=($!)
done
ssh="ssh -i $work/key -o StrictHostKeyChecking=no -o UserKnownHostsFile=$work/known -o LogLevel=ERROR"
for number in 2 3; do
  for _ in $(seq 50); do $ssh 10.213.0.$number true 2>/dev/null && break; sleep 0.2; done
  $ssh 10.213.0.$number hostname >/dev/null || { cat sshd*.log; exit 1; }
done
# The first try of the second part is killed when it has written a state; the engine tries again.
cat >part <<PART
#!/bin/sh
cd "$work"
if [ "\$1" = 2 ] && mkdir once 2>/dev/null; then
  "$orba" rehearse ${sides[*]} fleet.tar.zst ${change[*]} --shard \$1/$shards --jobs 1 --out "ssh/\$1" &
  while [ ! -e "ssh/\$1/state.json" ]; do sleep 0.05; done
  kill -9 \$!
  exit 1
fi
ip -br addr show eth0 >"ssh.\$1.host"
exec "$orba" rehearse ${sides[*]} fleet.tar.zst ${change[*]} --shard \$1/$shards --jobs 1 --out "ssh/\$1"
PART
chmod +x part
mkdir ssh
parallel --will-cite --ssh "$ssh" --sshlogin 1/10.213.0.2,1/10.213.0.3 --retries 3 \
  "$work/part" {} ::: $(seq $shards) 2>parallel.log || { cat parallel.log; exit 1; }
[ -d once ] || { echo "no part was killed"; exit 1; }
[ "$(cat ssh.*.host | sort -u | wc -l)" = 2 ] || { echo "one host did it all"; exit 1; }
code=0
"$orba" rehearse merge "${sides[@]}" ssh/* "${change[@]}" --out ssh-report >/dev/null || code=$?
[ "$code" = "$changes" ] || exit 1
same ssh-report
say "GNU parallel over ssh: the same report"

# ---- a Slurm array ----
name=$(hostname -s)
mkdir -p slurm/state slurm/spool slurm/munge
dd if=/dev/urandom of=slurm/munge/key bs=1 count=1024 status=none
chmod 400 slurm/munge/key
chmod 700 slurm/munge
chown -R root:root slurm
munged --foreground --force --key-file="$work/slurm/munge/key" --socket="$work/slurm/munge.socket" \
  --pid-file="$work/slurm/munge/pid" --seed-file="$work/slurm/munge/seed" --log-file="$work/slurm/munge/log" 2>munged.log &
started+=($!)
cat >slurm/slurm.conf <<CONF
ClusterName=orba
SlurmctldHost=$name(127.0.0.1)
SlurmctldPort=27817
SlurmdPort=27818
AuthType=auth/munge
AuthInfo=socket=$work/slurm/munge.socket
CredType=cred/munge
SlurmUser=root
SlurmdUser=root
StateSaveLocation=$work/slurm/state
SlurmdSpoolDir=$work/slurm/spool
SlurmctldPidFile=$work/slurm/ctld.pid
SlurmdPidFile=$work/slurm/d.pid
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
ReturnToService=2
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU
JobRequeue=1
MpiDefault=none
NodeName=$name NodeAddr=127.0.0.1 CPUs=2 State=UNKNOWN
PartitionName=all Nodes=$name Default=YES State=UP
CONF
export SLURM_CONF=$work/slurm/slurm.conf
slurmctld -D -c >slurm/ctld.log 2>&1 &
started+=($!)
slurmd -D -N "$name" >slurm/d.log 2>&1 &
started+=($!)
for _ in $(seq 100); do [ "$(sinfo -h -o %t 2>/dev/null)" = idle ] && break; sleep 0.3; done
[ "$(sinfo -h -o %t)" = idle ] || { tail -n 20 munged.log slurm/*.log; exit 1; }
cat >array <<ARRAY
#!/bin/bash
#SBATCH --array=1-$shards --requeue --output=$work/slurm/part-%a.log
cd "$work"
if [ "\$SLURM_ARRAY_TASK_ID" = 3 ] && mkdir once-more 2>/dev/null; then
  "$orba" rehearse ${sides[*]} fleet.tar.zst ${change[*]} --shard 3/$shards --jobs 1 --out slurm-parts/3 &
  while [ ! -e slurm-parts/3/state.json ]; do sleep 0.05; done
  kill -9 \$!
  scontrol requeue "\$SLURM_JOB_ID"
  exit 1
fi
exec "$orba" rehearse ${sides[*]} fleet.tar.zst ${change[*]} --shard "\$SLURM_ARRAY_TASK_ID/$shards" --jobs 1 \
  --out "slurm-parts/\$SLURM_ARRAY_TASK_ID"
ARRAY
mkdir slurm-parts
sbatch array >sbatch.log
for _ in $(seq 1200); do [ -z "$(squeue -h)" ] && break; sleep 0.5; done
[ -z "$(squeue -h)" ] && [ -d once-more ] || { squeue; tail -n 20 slurm/*.log; exit 1; }
code=0
"$orba" rehearse merge "${sides[@]}" slurm-parts/* "${change[@]}" --out slurm-report >/dev/null || code=$?
[ "$code" = "$changes" ] || { tail -n 5 slurm/part-*.log; exit 1; }
same slurm-report
say "a Slurm array: the same report"
