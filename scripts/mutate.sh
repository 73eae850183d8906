#!/usr/bin/env bash
# Mutation check of the test suites. Each line of tests/mutants.txt names a
# file, an exact fragment that occurs once in it, its replacement and the
# fault it models (TAB-separated; '#' comments and blank lines are skipped).
# Every mutant is applied alone to a scratch copy of the tree, the host preset
# is rebuilt there (incrementally: the scratch tree and its build persist) and
# the tests run; a failing or hanging test kills the mutant, and so does a
# test that no longer compiles (a static_assert). A mutant that stops the
# libraries or programs themselves from building tests nothing: it is
# reported apart, as NO-BUILD, and fails the run as a broken mutant line does.
#
#   scripts/mutate.sh [PATTERN...]   only the mutants whose line matches a pattern (grep -E)
#
# Environment: ZEL_MUTATE_DIR (scratch tree, default build/mutate-tree),
# ZEL_MUTATE_TIMEOUT (seconds per test, default 60), ZEL_MUTATE_TESTS (a ctest
# -R pattern: only those tests run, default all). With ccache installed, the
# builds go through it; CCACHE_DIR is ccache's own choice unless set.
set -u -o pipefail

repo=$(cd "$(dirname "$0")/.." && pwd)
scratch=${ZEL_MUTATE_DIR:-$repo/build/mutate-tree}
timeout=${ZEL_MUTATE_TIMEOUT:-60}
tests=${ZEL_MUTATE_TESTS:-}
mutants="$repo/tests/mutants.txt"
if command -v ccache >/dev/null; then
    # Paths inside the scratch tree are hashed relative to the build folder,
    # so sources unchanged from any other tree's build come from the cache.
    export CCACHE_BASEDIR=${CCACHE_BASEDIR:-$scratch} CCACHE_NOHASHDIR=1
    export CMAKE_C_COMPILER_LAUNCHER=${CMAKE_C_COMPILER_LAUNCHER:-ccache}
    export CMAKE_CXX_COMPILER_LAUNCHER=${CMAKE_CXX_COMPILER_LAUNCHER:-ccache}
fi

# The working tree as it is (uncommitted edits included), without build trees.
# A file whose content differs is copied with a new time stamp, so the build
# sees it changed even when it is older than the objects of the last run (a
# merge, or a mutated file an interrupted run left behind); files gone from the
# tree go from the copy too, as globs in the build files would find them.
sync_tree() {
    mkdir -p "$scratch"
    python3 - "$repo" "$scratch" <<'PY'
import filecmp, os, shutil, sys
repo, scratch = sys.argv[1:3]
def walk(top):
    for root, dirs, files in os.walk(top):
        rel = os.path.relpath(root, top)
        if rel == ".":
            dirs[:] = [d for d in dirs if d not in ("build", ".git")]
            files = [f for f in files if f != ".git"]
        for name in dirs + files:
            yield os.path.normpath(os.path.join(rel, name))
wanted = set()
for path in walk(repo):
    wanted.add(path)
    source, copy = os.path.join(repo, path), os.path.join(scratch, path)
    if os.path.isdir(source):
        os.makedirs(copy, exist_ok=True)
    elif not os.path.isfile(copy) or not filecmp.cmp(source, copy, shallow=False):
        shutil.copy(source, copy)
for path in sorted(walk(scratch), reverse=True):
    if path not in wanted:
        target = os.path.join(scratch, path)
        shutil.rmtree(target) if os.path.isdir(target) and not os.path.islink(target) else os.remove(target)
PY
}

# Exit status 0 when the line is one of the selected mutants.
selected() {
    [ $# -eq 1 ] && return 0
    local line=$1; shift
    for pattern in "$@"; do grep -qE -- "$pattern" <<<"$line" && return 0; done
    return 1
}

# Replaces the single occurrence of $2 in file $1 by $3; status 2 if the
# fragment is missing, 3 if it occurs more than once.
apply() {
    python3 - "$@" <<'PY'
import sys
path, fragment, replacement = sys.argv[1:4]
text = open(path).read()
count = text.count(fragment)
if count != 1:
    sys.exit(2 if count == 0 else 3)
open(path, 'w').write(text.replace(fragment, replacement))
PY
}

sync_tree
(cd "$scratch" && cmake --preset host >/dev/null) || { echo "mutate: configure failed" >&2; exit 2; }
(cd "$scratch" && cmake --build --preset host -j2 >/dev/null) || { echo "mutate: the unmutated tree does not build" >&2; exit 2; }
# The libraries and programs outside the test folders (link steps of the build).
mapfile -t products < <(ninja -C "$scratch/build/host" -t targets all |
                        awk -F': ' '$2 ~ /LINKER__/ && $1 !~ /(^|\/)tests\// { print $1 }')
[ ${#products[@]} -gt 0 ] || { echo "mutate: no library or program found in the build" >&2; exit 2; }
build_log="$scratch/build/mutate-build.log"

killed=0 survived=0 unbuilt=0 errors=0
while IFS= read -r line || [ -n "$line" ]; do
    [[ -z "${line//[[:space:]]/}" || "$line" =~ ^[[:space:]]*# ]] && continue
    selected "$line" "$@" || continue
    # Split at each tab (read would merge the two around an empty replacement).
    path=${line%%$'\t'*} rest=${line#*$'\t'}
    fragment=${rest%%$'\t'*} rest=${rest#*$'\t'}
    replacement=${rest%%$'\t'*} fault=${rest#*$'\t'}
    label="$path: $fault"
    original="$scratch/$path.mutate-original"
    if [ ! -f "$scratch/$path" ]; then
        echo "ERROR     $label (no such file)"; errors=$((errors + 1)); continue
    fi
    cp -p "$scratch/$path" "$original"
    apply "$scratch/$path" "$fragment" "$replacement"
    status=$?
    if [ $status -ne 0 ]; then
        [ $status -eq 2 ] && why="fragment not found" || why="fragment not unique"
        echo "ERROR     $label ($why)"; errors=$((errors + 1))
        mv "$original" "$scratch/$path"; continue
    fi
    if ! (cd "$scratch" && cmake --build --preset host -j2 --target "${products[@]}" >"$build_log" 2>&1); then
        verdict=NO-BUILD; detail="($(grep -m1 'error:' "$build_log" | sed "s|$scratch/||"))"
    elif ! (cd "$scratch" && cmake --build --preset host -j2 >"$build_log" 2>&1); then
        verdict=KILLED; detail="(a test does not compile)"
    elif (cd "$scratch" && ctest --preset host ${tests:+-R "$tests"} --stop-on-failure --timeout "$timeout" >/dev/null 2>&1); then
        verdict=SURVIVED; detail=""
    else
        verdict=KILLED; detail=""
    fi
    case $verdict in
        KILLED) killed=$((killed + 1)) ;;
        SURVIVED) survived=$((survived + 1)) ;;
        *) unbuilt=$((unbuilt + 1)) ;;
    esac
    printf '%-9s %s %s\n' "$verdict" "$label" "$detail"
    # Restore with the original timestamp, so the next build recompiles it again.
    mv "$original" "$scratch/$path"
    touch "$scratch/$path"
done <"$mutants"

total=$((killed + survived))
echo "score: $killed/$total killed, $survived survived, $unbuilt did not build, $errors errors"
[ $survived -eq 0 ] && [ $unbuilt -eq 0 ] && [ $errors -eq 0 ]
