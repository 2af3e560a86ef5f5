#!/bin/sh
# Installs the Debian packages that building, testing and benchmarking
# qz4tessellix and its Python package need; does nothing when they are all
# there.
#   --interop  also the independent readers the interoperability tests use
#              (meshio, VTK and gmsh for Debian's python3; the meshio command
#              for the benchmark of the command-line tool)
#   --fuzz     also clang with its sanitizer and libFuzzer runtimes
set -e
packages="cmake make g++ pkg-config liblapack-dev libgtest-dev libbenchmark-dev libcli11-dev"
packages="$packages python3-dev pybind11-dev python3-numpy python3-pytest python3-pip python3-setuptools python3-wheel"
for arg in "$@"; do
  case $arg in
    --interop) packages="$packages python3-meshio python3-vtk9 python3-gmsh meshio-tools" ;;
    --fuzz) packages="$packages clang libclang-rt-14-dev" ;;
    *) echo "usage: $0 [--interop] [--fuzz]" >&2; exit 2 ;;
  esac
done
missing=""
for p in $packages; do
  dpkg -s "$p" >/dev/null 2>&1 || missing="$missing $p"
done
[ -z "$missing" ] && exit 0
sudo=""
[ "$(id -u)" -ne 0 ] && sudo=sudo
$sudo apt-get update
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y --no-install-recommends $missing
