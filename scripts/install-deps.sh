#!/bin/sh
# Installs the Debian packages that building, testing and benchmarking
# qz4tessellix need; does nothing when they are all there.
set -e
packages="cmake make g++ pkg-config liblapack-dev libgtest-dev libbenchmark-dev"
missing=""
for p in $packages; do
  dpkg -s "$p" >/dev/null 2>&1 || missing="$missing $p"
done
[ -z "$missing" ] && exit 0
sudo=""
[ "$(id -u)" -ne 0 ] && sudo=sudo
$sudo apt-get update
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y --no-install-recommends $missing
