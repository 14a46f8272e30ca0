#!/usr/bin/env bash
# The README's commands on a bare Debian 12 (debootstrap --variant=minbase), as a new user meets
# them: the run command as a user without sudo, as root in /root and as a user in a folder with
# a blank; the test command; the package; then the package installed on a second bare root.
# Needs root and the package mirror; takes about 12 minutes on 2 cores, so it is not part of CTest.
#   bash tests/bare_debian.sh [WORK_FOLDER]     (default: a new folder under /var/tmp)
# Step logs are kept in WORK_FOLDER.logs/.
set -uo pipefail

[ "$(id -u)" -eq 0 ] || { echo "SKIP: needs root (debootstrap, chroot, mounts)"; exit 77; }
for tool in debootstrap unshare chroot findmnt; do
  command -v "$tool" > /dev/null || { echo "SKIP: $tool not installed (apt-get install debootstrap util-linux)"; exit 77; }
done

src=$(cd "$(dirname "$0")/.." && pwd)
work=${1:-$(mktemp -d /var/tmp/pathlark-bare.XXXXXX)}
mkdir -p "$work"
work=$(cd "$work" && pwd)
logs="$work.logs"
mkdir -p "$logs"
base="$work/base"   # stays bare until the package is installed into it
dev="$work/dev"     # where the README's commands run
user=lark           # an ordinary user, without sudo
user_clone="/home/$user/my code/pathlark"

cleanup() {
  # The mounts live in the steps' own mount namespaces and vanish with them; never delete
  # through a mount that is still there.
  if findmnt -rno TARGET | grep -qF -- "$work/"; then
    echo "mounts left under $work; not removing it:" >&2
    findmnt -rno TARGET | grep -F -- "$work/" >&2
    return
  fi
  rm -rf --one-file-system "$work"
}
trap cleanup EXIT

# The mirror and suites the host uses.
mirror=$(sed -n 's/^URIs:[[:space:]]*\([^[:space:]]*\).*/\1/p' /etc/apt/sources.list.d/*.sources 2>/dev/null | grep -v security | head -n 1)
[ -n "$mirror" ] || mirror=$(sed -n 's/^deb[[:space:]]\+\(\[[^]]*\][[:space:]]\+\)\{0,1\}\([^[:space:]]*\)[[:space:]]\+bookworm[[:space:]].*/\2/p' /etc/apt/sources.list 2>/dev/null | head -n 1)
mirror=${mirror:-http://deb.debian.org/debian}

summary=()
# step NAME COMMAND...: runs a step with its output in a log, and reports time and status.
step() {
  local name=$1; shift
  local log="$logs/$(tr ' /' '__' <<< "$name").log" start=$SECONDS rc
  echo "== $name"
  "$@" > "$log" 2>&1
  rc=$?
  local line
  line=$(printf '%-44s %s  %5d s' "$name" "$([ $rc -eq 0 ] && echo ok || echo "FAILED ($rc)")" $((SECONDS - start)))
  summary+=("$line")
  echo "$line"
  [ $rc -eq 0 ] || { echo "-- last lines of $log:"; tail -n 40 "$log"; }
  return $rc
}

# in_root ROOT COMMAND: runs COMMAND (a bash script) as root inside ROOT, with the root
# bind-mounted onto itself (so that `ip netns` can make its mounts) and /proc, /dev, /sys,
# all in a private mount and PID namespace that ends with the command.
in_root() {
  local root=$1 script=$2
  unshare --mount --propagation private --pid --fork --kill-child -- bash -c '
    set -e
    root=$1
    mount --rbind "$root" "$root"
    mount -t proc proc "$root/proc"
    mount --rbind /dev "$root/dev"
    mount --rbind /sys "$root/sys"
    mount -t tmpfs -o mode=755 tmpfs "$root/run"
    exec env -i HOME=/root TERM=dumb LANG=C.UTF-8 PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
      chroot "$root" bash -c "$2"' in_root "$root" "$script"
}

make_base() {
  debootstrap --variant=minbase bookworm "$base" "$mirror" || return
  printf '127.0.0.1\tlocalhost\n::1\t\tlocalhost ip6-localhost ip6-loopback\n127.0.1.1\tbare-debian\n' > "$base/etc/hosts"
  cp -L /etc/resolv.conf "$base/etc/resolv.conf"
  rm -f "$base/etc/apt/sources.list"
  cp /etc/apt/sources.list "$base/etc/apt/" 2>/dev/null || true
  local f
  for f in /etc/apt/sources.list.d/*.list /etc/apt/sources.list.d/*.sources; do
    [ -f "$f" ] && cp "$f" "$base/etc/apt/sources.list.d/"
  done
  cp -a "$base" "$dev"
  mkdir -p "$dev/root/pathlark"
  chmod 700 "$dev/root"
  tar -C "$dev/root/pathlark" -xf "$work/clone.tar" || return
  in_root "$dev" "useradd --create-home --shell /bin/bash $user && mkdir -p '$user_clone'" || return
  cp -a "$dev/root/pathlark/." "$dev$user_clone/"
  in_root "$dev" "chown -R $user: /home/$user"
}

# The run command, headless: built and started, the window must still be up 20 s later.
window_script='
  QT_QPA_PLATFORM=offscreen bash build.sh run &
  pid=$!
  # build.sh ends by exec-ing the program, so the same process becomes the window.
  while kill -0 $pid 2>/dev/null; do
    case $(readlink /proc/$pid/exe 2>/dev/null) in */build-run/bin/pathlark) break ;; esac
    sleep 1
  done
  kill -0 $pid 2>/dev/null || { wait $pid; echo "run command ended with status $? before a window"; exit 1; }
  echo "window up; waiting 20 s"
  sleep 20
  kill -0 $pid 2>/dev/null || { wait $pid; echo "window closed by itself with status $?"; exit 1; }
  kill $pid; wait $pid 2>/dev/null
  echo "window stayed up 20 s"'

run_without_sudo() {
  in_root "$dev" "cd '$user_clone' && runuser -u $user -- bash build.sh run > /tmp/out 2>&1; rc=\$?; cat /tmp/out
    [ \$rc -eq 1 ] && grep -q 'apt-get install' /tmp/out && grep -q qt6-base-dev /tmp/out"
}

install_package() {
  cp "$dev"/root/pathlark/pathlark_*.deb "$base/root/" || return
  in_root "$base" '
    set -e
    export DEBIAN_FRONTEND=noninteractive
    apt-get update -qq
    dpkg-query -W -f="\${Package}\n" | sort > /tmp/before
    cd /root
    echo "without recommends: $(apt-get install -s --no-install-recommends ./pathlark_*.deb | grep -c "^Inst") packages"
    apt-get install -y ./pathlark_*.deb
    dpkg-query -W -f="\${Package}\n" | sort > /tmp/after
    comm -13 /tmp/before /tmp/after > /tmp/added
    echo "$(wc -l < /tmp/added) packages added: $(tr "\n" " " < /tmp/added)"
    # cpp may come, for xrdb (x11-xserver-utils, which xdg-utils recommends): a run-time use.
    if grep -E -- "-dev$|^(g\+\+|gcc|clang|cmake|ninja-build|make|fp-|pkg-config|dpkg-dev|lintian)" /tmp/added; then
      echo "build-time packages pulled in (above)"; exit 1
    fi
    # The installed program must open its window (still up when the time-out ends it: 124)
    # and answer --version without one.
    set +e
    QT_QPA_PLATFORM=offscreen timeout 10 pathlark; rc=$?
    [ $rc -eq 124 ] || { echo "the installed program ended with status $rc instead of showing its window"; exit 1; }
    echo "the installed program kept its window up for 10 s"
    QT_QPA_PLATFORM=offscreen timeout 10 pathlark --version; rc=$?
    [ $rc -eq 0 ] || { echo "pathlark --version: status $rc (124: it opened the window instead)"; exit 1; }
    set -e
    [ -L /usr/bin/pathlark ] && [ -x /usr/lib/pathlark/pathlark ]'
}

echo "Mirror $mirror; work folder $work; logs in $logs"
# The clone: the working tree as it is when this starts, without build folders.
tar -C "$src" --exclude=./build --exclude='./build-*' --exclude='./pathlark_*.deb' -cf "$work/clone.tar" . || exit 1
step "debootstrap minbase + clone" make_base || exit 1
step "run command, user without sudo (expect exit 1)" run_without_sudo
step "run command as root in /root/pathlark" in_root "$dev" "cd /root/pathlark || exit 1; $window_script"
step "run command as $user in '$user_clone'" \
  in_root "$dev" "cd '$user_clone' && runuser -u $user -- bash -c '$(sed "s/'/'\\\\''/g" <<< "$window_script")'"
step "test command as root" in_root "$dev" "cd /root/pathlark && bash build.sh test"
step "package command as root" in_root "$dev" "cd /root/pathlark && bash build.sh package && ls -l pathlark_*.deb"
step "apt install ./pathlark_*.deb on a bare root" install_package

echo
echo "Summary (logs in $logs):"
printf '  %s\n' "${summary[@]}"
! printf '%s\n' "${summary[@]}" | grep -q FAILED
