#!/bin/sh
# Programs and shared libraries, built and installed, look for libraries in absolute folders alone: an empty or
# relative entry of a run path stands for a folder below the current one, where anybody may have put a library.
# Usage: run_paths_test.sh CMAKE BUILD_FOLDER
set -eu
cmake=$1
cd "$2"
installed=installed_run_paths
rm -rf "$installed"
"$cmake" --install . --prefix "$PWD/$installed" >/dev/null

# The file and the run path of all that have one.
find . -name CMakeFiles -prune -o -type f \( -perm /111 -o -name '*.so*' \) -print | sort | while read -r file; do
  readelf -d "$file" 2>/dev/null | sed -nE "s,.*\((RPATH|RUNPATH)\).*\[(.*)\]\$,$file \2,p"
done >"$installed/run_paths"

status=0
while read -r file entries; do
  case ":$entries:" in
    *::* | *:[!/:]*)
      echo "$file has the run path [$entries]" >&2
      status=1
      ;;
  esac
done <"$installed/run_paths"

# They need the serial BLAS, which is in no standard folder.
for file in bin/S_Solver "$installed/bin/S_Solver"; do
  if ! grep -q "^\./$file /" "$installed/run_paths"; then
    echo "no run path found in $file" >&2
    status=1
  fi
done
exit "$status"
