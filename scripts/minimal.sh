# Functions that make minimal Debian systems and run commands in them: sourced after common.sh, not run. The
# systems are made from the archive that this machine's package settings name. A script sets $checkout to the
# folder in the system where a command starts.

fresh=$root/build/fresh
archives=$fresh/archives

# isolated COMMAND...: runs it as root in namespaces; everything that the command mounts and starts ends with
# it. No mount is ever visible outside, where folders are removed.
isolated() { as_root unshare --mount --pid --fork --kill-child "$@"; }

# Removes the tree that unpack made. A mount would be another file system, so it is never entered.
remove_tree() { as_root rm -rf --one-file-system "$tree"; }

# need_releases RELEASE...: fails unless each of them is a supported release.
need_releases() {
  local release
  for release; do
    case $release in bookworm | trixie) ;; *) die "no release $release; there are: bookworm trixie" ;; esac
  done
}

# make_base RELEASE: makes an archive of a minimal system, unless it exists.
make_base() {
  local base=$fresh/$1.tar settings=$fresh/apt-settings uri certificates=()
  [ ! -f "$base" ] || return 0
  uri=$(archive)
  case $uri in https:*) certificates=(--include=ca-certificates) ;; esac
  apt-config dump | grep -E '^Acquire::(.*::)?(Proxy|Check-Valid-Until|Check-Date) ' >"$settings" || true
  step "making a minimal $1" isolated mmdebstrap --variant=minbase "${certificates[@]}" --aptopt="$settings" \
    "$1" "$fresh/new.tar" "$uri"
  mv "$fresh/new.tar" "$base"
}

# unpack RELEASE: makes an unused system from the archive.
unpack() {
  tree=$fresh/$1
  remove_tree
  mkdir "$tree"
  as_root tar -xpf "$fresh/$1.tar" -C "$tree"
  as_root tee "$tree/etc/hosts" >/dev/null <<<$'127.0.0.1 localhost\n::1 localhost ip6-localhost ip6-loopback'
  as_root cp -L /etc/resolv.conf "$tree/etc/resolv.conf"
  as_root chroot "$tree" useradd --create-home newcomer
}

# enter TREE ARCHIVES COMMAND...: runs a command in that system; called only in namespaces that end with it.
enter() {
  local tree=$1 archives=$2
  shift 2
  ip link set lo up
  mount -t proc proc "$tree/proc"
  mount -t sysfs -o ro sysfs "$tree/sys"
  mount -t tmpfs tmpfs "$tree/dev/shm"
  mount -t devpts -o newinstance,ptmxmode=0666 devpts "$tree/dev/pts"
  mount --bind "$archives" "$tree/var/cache/apt/archives"
  exec chroot "$tree" "$@"
}

# inside USER NETWORK COMMAND: runs a command in $checkout with only the variables in $variables; NETWORK is
# "connected" or "offline".
inside() {
  local home=/home/$1 path=/usr/local/bin:/usr/bin:/bin offline=()
  [ "$1" != root ] || { home=/root && path=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin; }
  [ "$2" = connected ] || offline=(--net)
  isolated "${offline[@]}" bash -e -c "$(declare -f enter); enter \"\$@\"" - "$tree" "$archives" \
    setpriv --reuid="$1" --regid="$1" --init-groups env -i "PATH=$path" "HOME=$home" \
    ${http_proxy:+"http_proxy=$http_proxy"} ${https_proxy:+"https_proxy=$https_proxy"} "${variables[@]}" \
    sh -e -c 'cd "$1"; eval "$2"' - "$checkout" "$3"
}
variables=()

# put_checkout FOLDER USER: copies the files that git knows, in their present state.
put_checkout() {
  as_root mkdir -p "$tree$1"
  git -C "$root" ls-files -z | tar -C "$root" --null -T - -c | as_root tar -C "$tree$1" -x --no-same-owner
  as_root chroot "$tree" chown -R "$2:$2" "$1"
}

# in_minimal_system RELEASE COMMAND: runs a command of the project in an unused system, as root. The system
# stays if the command fails.
in_minimal_system() {
  checkout=/srv/kelinfra
  need_minimal_systems
  make_base "$1"
  unpack "$1"
  put_checkout "$checkout" root
  variables=("KELINFRA_WARNINGS_AS_ERRORS=${KELINFRA_WARNINGS_AS_ERRORS-}")
  inside root connected "$2"
  remove_tree
}

# need_minimal_systems: installs what makes them.
need_minimal_systems() {
  need mmdebstrap util-linux iproute2
  need_root "make a system in a folder"
  mkdir -p "$archives"
}
