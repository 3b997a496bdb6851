#!/usr/bin/env bash
# Runs inside a bare Debian 12 root (scripts/package-test.sh) as a new user
# of the packages would: installs them with apt from the local repository in
# /srv/tavn/repo, builds and runs the examples of /srv/tavn/examples for
# amd64 and i386, speaks with tavn-say of both architectures, imports the
# Python package with Debian's python3, looks into the jar, checks tavnd's
# unit and user when the repository has tavnd; then removes the packages
# (only configuration may stay) and purges them (nothing may stay).
set -euo pipefail
export DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8
repo=/srv/tavn/repo
examples=/srv/tavn/examples

fail() { echo "packages: $*" >&2; exit 1; }
step() { echo "--- $*"; }
apt_get() { apt-get -qq -y --no-install-recommends -o Dpkg::Use-Pty=0 "$@" > /tmp/apt.log 2>&1 || { cat /tmp/apt.log; fail "apt-get $* failed"; }; }

# Every file of the root outside the places that change by themselves.
snapshot() {
  find / -xdev \( -path /proc -o -path /tmp -o -path /run -o -path /srv/tavn -o -path /root \
    -o -path /var/cache -o -path /var/log -o -path /var/lib/apt -o -path /var/lib/dpkg \) -prune -o -print | sort
}
is_wave() { [ "$(head -c 4 "$1")" = RIFF ] && [ "$(stat -c %s "$1")" -gt 1000 ]; }
elf_class() { od -An -tu1 -j4 -N1 "$1" | tr -d ' '; }   # 1: 32-bit, 2: 64-bit
sentences() { grep -c 'SentenseText' <<<"$1" || true; }

mapfile -t ours < <(sed -n 's/^Package: //p' "$repo/Packages" | sort -u)
has_tavnd=$(printf '%s\n' "${ours[@]}" | grep -x tavnd || true)
echo "deb [trusted=yes] file:$repo ./" > /etc/apt/sources.list.d/tavn.list
# Only the local repository is read again: the root already holds the
# packages' dependencies, so no mirror is needed from here on.
apt_get update -o Dir::Etc::SourceList=/etc/apt/sources.list.d/tavn.list \
  -o Dir::Etc::SourceParts=- -o APT::Get::List-Cleanup=0
before=$(snapshot)

step "install: both architectures' development packages, tavn-say, Python, Java"
install=(libtavn-dev libtavn-dev:i386 tavn-say python3-tavn libtavn-java)
[ -z "$has_tavnd" ] || install+=(tavnd)
apt_get install "${install[@]}"

work=$(mktemp -d)
cd "$work"
step "C through pkg-config, C++ through find_package(tavn): amd64 and i386"
flags64=$(pkg-config --cflags --libs tavn)
flags32=$(PKG_CONFIG_LIBDIR=/usr/lib/i386-linux-gnu/pkgconfig pkg-config --cflags --libs tavn)
[[ "$flags32" == *i386-linux-gnu* ]] || fail "the i386 tavn.pc gives $flags32"
# shellcheck disable=SC2086  # pkg-config prints a list of words
cc -Wall -Werror -o hello64 "$examples/c/hello.c" $flags64
# shellcheck disable=SC2086
i686-linux-gnu-gcc -Wall -Werror -o hello32 "$examples/c/hello.c" $flags32
cmake -S "$examples/cpp" -B cpp64 >/dev/null && cmake --build cpp64 >/dev/null
cmake -S "$examples/cpp" -B cpp32 -DCMAKE_SYSTEM_NAME=Linux -DCMAKE_SYSTEM_PROCESSOR=i686 \
  -DCMAKE_CXX_COMPILER=i686-linux-gnu-g++ >/dev/null && cmake --build cpp32 >/dev/null
for prog in hello64:2 hello32:1 cpp64/hello_tavn:2 cpp32/hello_tavn:1; do
  file=${prog%:*}
  [ "$(elf_class "$file")" = "${prog#*:}" ] || fail "$file is not built for its architecture"
  rm -f hello.wav
  out=$("./$file") || fail "$file failed: $out"
  is_wave hello.wav || fail "$file wrote no audio"
  case "$file" in
    */hello_tavn) [ "$(sentences "$out")" = 2 ] || fail "$file printed no synch text of two sentences: $out" ;;
  esac
done

step "tavn-say, amd64 then i386, with an espeak-ng and a flite voice"
for arch in amd64 i386; do
  [ "$arch" = amd64 ] || apt_get install tavn-say:i386
  [ "$(elf_class /usr/bin/tavn-say)" = "$([ "$arch" = i386 ] && echo 1 || echo 2)" ] ||
    fail "tavn-say is not the $arch program"
  synch=$(tavn-say --synch -o say.wav "Hello from the package. Goodbye.") || fail "tavn-say ($arch) failed"
  if ! is_wave say.wav || [ "$(sentences "$synch")" != 2 ]; then fail "tavn-say ($arch) gave: $synch"; fi
  tavn-say --voice flite:slt -o flite.wav "Hello." || fail "tavn-say ($arch) cannot use flite"
  is_wave flite.wav || fail "tavn-say ($arch) wrote no flite audio"
done
[ -f /usr/share/man/man1/tavn-say.1.gz ] || fail "tavn-say has no manual page"

step "Python package with Debian's python3; the jar"
/usr/bin/python3 - <<'EOF'
import tavn
sentences = tavn.synth_with_timings("One sentence. And another.", "py.wav")
assert [s.text for s in sentences] == ["One sentence.", "And another."], sentences
try:
    tavn.synth("", "empty.wav")
    raise SystemExit("an empty text was accepted")
except tavn.TavnError as e:
    assert e.name == "TAVN_ERR_EMPTY_INPUT", e.name
EOF
is_wave py.wav || fail "the Python package wrote no audio"
/usr/bin/python3 -m zipfile -l /usr/share/java/tavn.jar | grep -q 'com/kavri/talvern.class' ||
  fail "tavn.jar lacks com.kavri.talvern"

if [ -n "$has_tavnd" ]; then
  step "tavnd: user, configuration, unit, a server that answers"
  getent passwd tavnd | grep -q ':/usr/sbin/nologin$' || fail "no unprivileged user tavnd"
  if [ ! -f /etc/tavn/tavnd.conf ] || [ ! -f /usr/share/man/man8/tavnd.8.gz ]; then
    fail "tavnd lacks its settings or its manual page"
  fi
  # The bare root has no man(1) to look the unit's manual page up with.
  systemd-analyze verify --man=no /lib/systemd/system/tavnd.service || fail "tavnd.service does not verify"
  # Started as root with the packaged settings on a socket of its own, it
  # must run as tavnd, report its pool and end on SIGTERM.
  sock=$work/tavnd.sock
  tavnd --config /etc/tavn/tavnd.conf --listen "unix:$sock" --user tavnd --workers 1 2> "$work/tavnd.log" &
  server=$!
  health=$(timeout 30 /usr/bin/python3 - "$sock" <<'PYEOF' || true
import http.client, socket, sys, time

class UnixConnection(http.client.HTTPConnection):
    def connect(self):
        self.sock = socket.socket(socket.AF_UNIX)
        self.sock.connect(sys.argv[1])

for _ in range(200):
    try:
        c = UnixConnection("localhost")
        c.request("GET", "/healthz")
        print(c.getresponse().read().decode())
        break
    except OSError:
        time.sleep(0.1)
PYEOF
  )
  uid=$(awk '/^Uid:/ { print $3 }' "/proc/$server/status" 2>/dev/null || true)   # the effective one
  kill -TERM "$server"
  timeout 30 tail --pid="$server" -f /dev/null || fail "tavnd did not end on SIGTERM"
  wait "$server" || fail "tavnd ended with status $?: $(cat "$work/tavnd.log")"
  [[ "$health" == *'"status":"ok"'* ]] || fail "tavnd did not answer /healthz: $health $(cat "$work/tavnd.log")"
  [ "$uid" = "$(id -u tavnd)" ] || fail "tavnd ran as uid '$uid', not as tavnd"
fi

step "remove: only configuration stays; purge: nothing stays"
cd /
rm -rf "$work"
mapfile -t installed < <(dpkg-query -W -f='${db:Status-Abbrev}${Package}:${Architecture}\n' "${ours[@]}" \
  2>/dev/null | sed -n 's/^ii *//p')
apt_get remove "${installed[@]}"
# Configuration may stay until the purge: files under /etc (the server's
# settings, its unit's enablement) and systemd's record of that enablement.
stray=$(comm -13 <(echo "$before") <(snapshot) | grep -v -e '^/etc/' -e '^/var/lib/systemd/deb-systemd-helper-' || true)
[ -z "$stray" ] || fail "left after remove, besides configuration: $stray"
apt_get purge "${installed[@]}"
left=$(comm -13 <(echo "$before") <(snapshot))
[ -z "$left" ] || fail "left after purge: $left"
gone=$(comm -23 <(echo "$before") <(snapshot))
[ -z "$gone" ] || fail "removed files that were there before: $gone"
known=$(dpkg-query -W -f='${db:Status-Abbrev} ${Package}:${Architecture}\n' "${ours[@]}" 2>/dev/null |
  grep -v '^un ' || true)
[ -z "$known" ] || fail "dpkg still knows: $known"
! getent passwd tavnd >/dev/null || fail "the user tavnd outlived the purge"
echo "packages: installed, used on amd64 and i386, removed and purged cleanly"
