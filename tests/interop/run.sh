#!/bin/sh
# Runs one interoperability script in a fresh scratch folder with Debian's
# python3, which is where the python3-meshio, python3-vtk9 and python3-gmsh
# packages install their modules. Exit 77 is "skipped"; QZ4_INTEROP_REQUIRED
# turns it into a failure, so that CI cannot pass without the clients.
script=$1 program=$2 work=$3
rm -rf "$work" && mkdir -p "$work" || exit 1
python=/usr/bin/python3
if [ ! -x "$python" ]; then
  echo "SKIPPED: $python missing; install the Debian package python3"
  status=77
else
  "$python" "$script" "$program" "$work"
  status=$?
fi
if [ "$status" -eq 77 ] && [ -n "${QZ4_INTEROP_REQUIRED:-}" ]; then
  echo "interoperability clients are required here (QZ4_INTEROP_REQUIRED): failing"
  exit 1
fi
exit "$status"
