#!/usr/bin/env bash
# Cache hits: requests per second for a stored answer of about 100 KB from
# tavnd, next to Debian's nginx serving the same bytes as a static file from
# the same disk, both on loopback and loaded by Debian's wrk with the same
# settings.  tavnd is measured twice: POST /v1/speak with the request's JSON
# (parsed, keyed, looked up and checked on every request) and GET
# /v1/audio?key=... (looked up and checked).  Runs alternate (nginx, POST,
# GET) PAIRS times; each figure is the median, and the ratios are tavnd's
# medians over nginx's.
#
#   bench_cache_hits.sh TAVND [SECONDS] [PAIRS] [THREADS] [CONNECTIONS]
#                       (defaults: 10 s per run, 3 pairs, 2 wrk threads, 32 connections)
#
# nginx runs as the invoking user from a configuration generated into a
# temporary folder (pid, logs and temporary files there too) with Debian's
# default settings for static files (worker_processes auto, sendfile,
# tcp_nopush) and no access log; NGINX_WORKERS overrides the worker count.
# tavnd runs with --workers 1 (hits need no worker).  Ports are chosen at run
# time; everything is stopped and the folder removed on every way out.
set -euo pipefail
usage='usage: bench_cache_hits.sh TAVND [SECONDS] [PAIRS] [THREADS] [CONNECTIONS]'
tavnd=${1:?$usage}
seconds=${2:-10}
pairs=${3:-3}
threads=${4:-2}
connections=${5:-32}
nginx=${NGINX:-/usr/sbin/nginx}
for tool in "$nginx" wrk curl python3; do
  command -v "$tool" >/dev/null ||
    { echo "bench_cache_hits: $tool is missing (scripts/deps.sh installs it)" >&2; exit 1; }
done

dir=$(mktemp -d /tmp/bench-cache-hits-XXXXXX)
pids=()
cleanup() {
  for p in "${pids[@]}"; do kill "$p" 2>/dev/null || true; done
  wait 2>/dev/null || true
  rm -rf "$dir"
}
trap cleanup EXIT

read -r port_nginx port_tavnd < <(python3 -c '
import socket
s = [socket.socket() for _ in range(2)]
for x in s: x.bind(("127.0.0.1", 0))
print(*[x.getsockname()[1] for x in s])')

root_flag=()
[ "$(id -u)" -ne 0 ] || root_flag=(--allow-root)
"$tavnd" --listen "127.0.0.1:$port_tavnd" --workers 1 --cache-dir "$dir/cache" \
  --log "$dir/tavnd.log" "${root_flag[@]}" &
pids+=("$!")
tavnd_url=http://127.0.0.1:$port_tavnd
for _ in $(seq 100); do
  curl -sf "$tavnd_url/readyz" >/dev/null && break
  sleep 0.1
done
curl -sf "$tavnd_url/readyz" >/dev/null ||
  { echo "bench_cache_hits: tavnd is not ready after 10 s:" >&2; cat "$dir/tavnd.log" >&2; exit 1; }

# The prompt: words added one at a time until its answer (WAVE, 16 kHz)
# reaches 100 KB.
mkdir -p "$dir/www" "$dir/temp"
read -r -a words <<<"The committee met on Tuesday to review the budget for the coming year, and several
  members asked whether the new library could open before the winter came to the town by the river"
text=
for w in "${words[@]}"; do
  text="${text:+$text }$w"
  printf '{"text":"%s."}' "$text" >"$dir/body.json"
  curl -sf "$tavnd_url/v1/speak" -H 'Content-Type: application/json' --data-binary "@$dir/body.json" \
    -o "$dir/www/prompt.wav"
  [ "$(stat -c %s "$dir/www/prompt.wav")" -lt 102400 ] || break
done
# Again: a hit, whose bytes (the stored copy, with its real WAVE sizes) nginx serves.
headers=$(curl -sf -D - "$tavnd_url/v1/speak" -H 'Content-Type: application/json' \
  --data-binary "@$dir/body.json" -o "$dir/www/prompt.wav")
grep -qi '^tavn-cache: hit' <<<"$headers" ||
  { echo "bench_cache_hits: the second request was not a hit:" >&2; echo "$headers" >&2; exit 1; }
key=$(sed -n 's/^[Ee][Tt]ag: W\/"\([0-9a-f]*\)".*/\1/p' <<<"$headers")
size=$(stat -c %s "$dir/www/prompt.wav")

user_line=
[ "$(id -u)" -ne 0 ] || user_line="user $(id -un) $(id -gn);"
cat >"$dir/nginx.conf" <<EOF
$user_line
worker_processes ${NGINX_WORKERS:-auto};
error_log $dir/nginx-error.log warn;
pid $dir/nginx.pid;
events { worker_connections 1024; }
http {
  sendfile on;
  tcp_nopush on;
  access_log off;
  default_type application/octet-stream;
  client_body_temp_path $dir/temp/body;
  proxy_temp_path $dir/temp/proxy;
  fastcgi_temp_path $dir/temp/fastcgi;
  uwsgi_temp_path $dir/temp/uwsgi;
  scgi_temp_path $dir/temp/scgi;
  server {
    listen 127.0.0.1:$port_nginx;
    root $dir/www;
  }
}
EOF
"$nginx" -p "$dir" -c "$dir/nginx.conf" -g 'daemon off;' &
pids+=("$!")
nginx_url=http://127.0.0.1:$port_nginx
for _ in $(seq 100); do
  curl -sf "$nginx_url/prompt.wav" -o "$dir/nginx.wav" && break
  sleep 0.1
done
cmp -s "$dir/nginx.wav" "$dir/www/prompt.wav" ||
  { echo "bench_cache_hits: nginx does not serve the prompt" >&2; cat "$dir/nginx-error.log" >&2; exit 1; }
curl -sf "$tavnd_url/v1/audio?key=$key" -o "$dir/get.wav"
cmp -s "$dir/get.wav" "$dir/www/prompt.wav" ||
  { echo "bench_cache_hits: GET /v1/audio does not give the prompt" >&2; exit 1; }

cat >"$dir/post.lua" <<EOF
wrk.method = "POST"
wrk.headers["Content-Type"] = "application/json"
wrk.body = io.open("$dir/body.json"):read("*a")
EOF

# Requests per second of one wrk run (extra arguments, then the address);
# fails when any answer was not 2xx or a socket error happened.
rate() {
  local out
  out=$(timeout $((seconds + 30)) wrk -t "$threads" -c "$connections" -d "${seconds}s" "$@")
  if grep -q -e 'Non-2xx' -e 'Socket errors' <<<"$out"; then
    echo "bench_cache_hits: errors in a run:" >&2
    echo "$out" >&2
    exit 1
  fi
  sed -n 's/^Requests\/sec: *\([0-9.]*\).*/\1/p' <<<"$out"
}
median() { printf '%s\n' "$@" | sort -g | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'; }

misses_before=$(curl -sf "$tavnd_url/metrics" | awk '$1 == "tavnd_cache_misses_total" { print $2 }')
static=() post=() get=()
for i in $(seq "$pairs"); do
  static+=("$(rate "$nginx_url/prompt.wav")")
  post+=("$(rate -s "$dir/post.lua" "$tavnd_url/v1/speak")")
  get+=("$(rate "$tavnd_url/v1/audio?key=$key")")
  echo "pair $i: nginx ${static[-1]}/s, tavnd POST ${post[-1]}/s, GET ${get[-1]}/s"
done
misses_after=$(curl -sf "$tavnd_url/metrics" | awk '$1 == "tavnd_cache_misses_total" { print $2 }')
[ "$misses_before" = "$misses_after" ] ||
  { echo "bench_cache_hits: tavnd missed its cache during the runs" >&2; exit 1; }

n=$(median "${static[@]}") p=$(median "${post[@]}") g=$(median "${get[@]}")
echo "${size}-byte answer, wrk -t $threads -c $connections -d ${seconds}s, median of $pairs runs each"
awk -v n="$n" -v p="$p" -v g="$g" 'BEGIN {
  printf "nginx static file:            %10.0f requests/s\n", n
  printf "tavnd POST /v1/speak (hit):   %10.0f requests/s  ratio %.3f\n", p, p / n
  printf "tavnd GET /v1/audio?key=...:  %10.0f requests/s  ratio %.3f\n", g, g / n
}'
