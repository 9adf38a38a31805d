#!/bin/sh
# `make compare`: QEL beside peer libraries from Debian, reading the same
# generated files on the same machine. Installs the peers when missing,
# builds one small program per library (CMakeLists.txt here), writes an
# 800,000-triangle torus whose shared corners coincide exactly as binary and
# ASCII STL, and prints one table of median wall times.
#   RUNS (default 5) reads per binary file, ASCII_RUNS (default 3) per ASCII file.
set -eu

here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
build="$root/build/compare"
data="$build/data"
runs=${RUNS:-5}
ascii_runs=${ASCII_RUNS:-3}
jobs=$(nproc 2>/dev/null || echo 2)

packages="libmeshoptimizer-dev libtbb-dev libassimp-dev libopenmesh-dev libocct-data-exchange-dev libocct-modeling-algorithms-dev libocct-foundation-dev libcgal-dev libopen3d-dev"
missing=""
for p in $packages; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing="$missing $p"
done
if [ -n "$missing" ]; then
  echo "Installing:$missing"
  if [ "$(id -u)" -eq 0 ]; then sudo=""; else sudo="sudo"; fi
  export DEBIAN_FRONTEND=noninteractive
  $sudo apt-get update -qq
  # shellcheck disable=SC2086
  $sudo apt-get install -y -qq --no-install-recommends $missing
fi

launcher=""
command -v ccache >/dev/null 2>&1 && launcher="-DCMAKE_CXX_COMPILER_LAUNCHER=ccache"
cmake -S "$here" -B "$build" -DCMAKE_BUILD_TYPE=Release $launcher >/dev/null
cmake --build "$build" -j "$jobs"

mkdir -p "$data"
[ -f "$data/torus.stl" ] || "$build/compare_meshgen" "$data/torus.stl"
[ -f "$data/torus.ascii.stl" ] || "$build/compare_meshgen" "$data/torus.ascii.stl"

describe() {
  case "$1" in
    qel) echo "QEL|CTriangulationParser::ReadSTLFile: exact weld, every half-edge paired" ;;
    meshopt) echo "meshoptimizer 0.18 (reference)|fread + meshopt_generateVertexRemap: the bare weld, no mesh; binary only" ;;
    assimp) echo "assimp 5.2|ReadFile with RemoveComponent (normals) + JoinIdenticalVertices: welded aiMesh, no adjacency" ;;
    openmesh) echo "OpenMesh 9.0|IO::read_mesh (its STL reader welds): half-edge TriMesh" ;;
    occt) echo "OpenCASCADE 7.6|RWStl::ReadFile (welds nodes) + Poly_Connect: triangle neighbours" ;;
    cgal) echo "CGAL 5.5|IO::read_polygon_soup (welds points) + polygon_soup_to_polygon_mesh: half-edge Surface_mesh" ;;
    open3d) echo "Open3D 0.16|io::ReadTriangleMesh + RemoveDuplicatedVertices + ComputeAdjacencyList: vertex neighbours" ;;
  esac
}

# One field of a program's output line, or "-" when it did not run.
field() { printf '%s\n' "$1" | cut -f"$2" | sed 's/^$/-/'; }

echo
echo "Torus of $(( 800 * 500 * 2 )) triangles, 400,000 distinct vertices: binary STL $(du -m "$data/torus.stl" | cut -f1) MB, ASCII STL $(du -m "$data/torus.ascii.stl" | cut -f1) MB."
echo "Median wall time, and CPU time of all threads, of $runs reads (binary) and $ascii_runs reads (ASCII); each library as it comes (threads where it starts them); $(nproc) cores, load average $(cut -d' ' -f1 /proc/loadavg)."
echo
echo "| Library | What it builds | Binary STL (ms) | Binary STL, CPU (ms) | ASCII STL (ms) | ASCII STL, CPU (ms) | Vertices | Triangles |"
echo "|---|---|---:|---:|---:|---:|---:|---:|"
for p in qel meshopt assimp openmesh occt cgal open3d; do
  program="$build/compare_$p"
  [ -x "$program" ] || continue
  binary=$("$program" "$data/torus.stl" "$runs" 2>/dev/null || true)
  ascii=""
  [ "$p" = meshopt ] || ascii=$("$program" "$data/torus.ascii.stl" "$ascii_runs" 2>/dev/null || true)
  d=$(describe "$p")
  name=${d%%|*}
  what=${d#*|}
  echo "| $name | $what | $(field "$binary" 4) | $(field "$binary" 5) | $(field "$ascii" 4) | $(field "$ascii" 5) | $(field "$binary" 2) | $(field "$binary" 3) |"
done

# Curves: cubic interpolation through the same scan of a helix (uneven
# spacing) with chord-length parameters, 1,000, 10,000 and 100,000 points
# (the cost should grow linearly).
fit_runs=${FIT_RUNS:-7}
echo
echo "Cubic interpolation through every point of a helix scan, chord-length parameters: median wall and CPU time of $fit_runs fits."
echo
echo "| Library | What it does | Points | Control points | Median (ms) | Median CPU (ms) | Largest distance at the data |"
echo "|---|---|---:|---:|---:|---:|---:|"
for p in fit_qel fit_occt; do
  program="$build/compare_$p"
  [ -x "$program" ] || continue
  case "$p" in
    fit_qel) name="QEL"; what="CNURBS_Curve_Create::InterpolateScan: banded collocation system, one factorisation, x, y, z solved together" ;;
    fit_occt) name="OpenCASCADE 7.6"; what="GeomAPI_Interpolate::Perform (its default parameters are chord lengths)" ;;
  esac
  for n in 1000 10000 100000; do
    line=$("$program" "$n" "$fit_runs" 2>/dev/null || true)
    echo "| $name | $what | $(field "$line" 1) | $(field "$line" 2) | $(field "$line" 3) | $(field "$line" 5) | $(field "$line" 4) |"
  done
done

# Curves: 1,000,000 points on a cubic of 100,000 knots (bench/operations/nurbs/NURBSBenchCurve.h).
curve_runs=${CURVE_RUNS:-5}
echo
echo "Cubic B-spline of 100,000 knots, 1,000,000 evaluations; median wall time of $curve_runs runs, parameters in increasing order and shuffled."
echo
echo "| Library | What it calls | Sorted (ms) | Shuffled (ms) | Checksum |"
echo "|---|---|---:|---:|---:|"
for p in qel occt; do
  program="$build/compare_curve_$p"
  [ -x "$program" ] || continue
  line=$("$program" "$curve_runs" 2>/dev/null || true)
  case "$p" in
    qel) name="QEL"; what="CNURBS_Curve_Analyse::ComputePoint" ;;
    occt) name="OpenCASCADE 7.6"; what="GeomAdaptor_Curve::Value on a Geom_BSplineCurve" ;;
  esac
  echo "| $name | $what | $(field "$line" 3) | $(field "$line" 4) | $(field "$line" 2) |"
done
