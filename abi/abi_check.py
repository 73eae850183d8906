#!/usr/bin/env python3
"""ABI guard of libzelkov_android.so (32-bit ARM build).

  abi_check.py check  LIB   compares LIB with the checked-in baseline
  abi_check.py update LIB   regenerates the baseline on purpose

The baseline is two files beside this script: the libabigail description of
the library (abidw), which catches changed symbols, record layouts and virtual
slots, and the demangled exported symbols grouped by family, which catches
anything exported that the interface does not name.
"""
import os
import re
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
REPO = os.path.dirname(HERE)
BASELINE_ABI = os.path.join(HERE, "libzelkov_android.abi")
BASELINE_SYMBOLS = os.path.join(HERE, "exported_symbols.txt")

# Symbols the linker defines in every shared library.
LINKER_SYMBOLS = {"__bss_start", "_edata", "_end", "__bss_end__", "__bss_start__", "_bss_end__", "__end__"}
# Every exported name lives in the library's namespace.
OURS = re.compile(r"^(vtable for |typeinfo for |typeinfo name for |VTT for )?zelkov::")


def exported_symbols(library):
    nm = os.environ.get("NM", "nm")
    out = subprocess.run([nm, "-D", "--defined-only", "--format=posix", library],
                         check=True, capture_output=True, text=True).stdout
    mangled = [line.split()[0] for line in out.splitlines() if line.strip()]
    demangled = subprocess.run(["c++filt"], input="\n".join(mangled), check=True,
                               capture_output=True, text=True).stdout.splitlines()
    return sorted(name for name in demangled if name not in LINKER_SYMBOLS)


def family(name):
    """The class or function family a symbol belongs to, for grouping."""
    name = re.sub(r"^(vtable for |typeinfo for |typeinfo name for |VTT for )", "", name)
    name = name[len("zelkov::"):] if name.startswith("zelkov::") else name
    if name.startswith("GET_"):
        return "constants"
    head = re.split(r"::|\(", name, maxsplit=1)[0]
    return "PImpl instantiations" if head.startswith("PImpl<") else head


def symbol_report(symbols):
    groups = {}
    for symbol in symbols:
        groups.setdefault(family(symbol), []).append(symbol)
    lines = []
    for name in sorted(groups):
        lines.append(f"[{name}] {len(groups[name])}")
        lines.extend("  " + symbol for symbol in groups[name])
    return "\n".join(lines) + "\n"


def abidw(library, out):
    """The description without source locations or the compilation folder, and
    with translation units named relative to the repository, so that the same
    library gives the same file in any checkout. A unit's path is cut to its
    longest tail that names a file or folder of this checkout: the checkout it
    was compiled in may be another (an object from a shared compiler cache)."""
    subprocess.run(["abidw", "--no-corpus-path", "--no-show-locs", "--no-comp-dir-path", "--out-file", out, library],
                   check=True)
    with open(out) as f:
        text = f.read()

    def relative(match):
        path = match.group(2)
        parts = path.split("/")
        for i in range(1, len(parts)):
            tail = "/".join(parts[i:])
            if tail and os.path.exists(os.path.join(REPO, tail)):
                path = tail
                break
        return match.group(1) + path + "'"

    with open(out, "w") as f:
        f.write(re.sub(r"(<abi-instr [^>]*\bpath=')([^']*)'", relative, text))


def check(library):
    ok = True
    symbols = exported_symbols(library)
    strays = [s for s in symbols if not OURS.match(s)]
    if strays:
        ok = False
        print("exported but not part of the interface:\n  " + "\n  ".join(strays))
    with open(BASELINE_SYMBOLS) as f:
        if f.read() != symbol_report(symbols):
            ok = False
            print("exported symbols differ from", BASELINE_SYMBOLS)
            print("\n".join(sorted(set(symbol_report(symbols).splitlines()) ^ set(open(BASELINE_SYMBOLS).read().splitlines()))))
    result = subprocess.run(["abidiff", "--no-added-syms", BASELINE_ABI, library], capture_output=True, text=True)
    # abidiff: 0 no change; bit 2 (4) ABI change, bit 3 (8) incompatible change; low bits are usage errors.
    if result.returncode != 0:
        ok = False
        print(result.stdout, result.stderr)
    if not ok:
        print("\nIf the change is intended, regenerate the baseline: scripts/abi.sh update")
    return 0 if ok else 1


def update(library):
    with open(BASELINE_SYMBOLS, "w") as f:
        f.write(symbol_report(exported_symbols(library)))
    abidw(library, BASELINE_ABI)
    print("baseline written:", BASELINE_ABI, BASELINE_SYMBOLS)
    return 0


if __name__ == "__main__":
    if len(sys.argv) != 3 or sys.argv[1] not in ("check", "update"):
        sys.exit(__doc__)
    sys.exit(check(sys.argv[2]) if sys.argv[1] == "check" else update(sys.argv[2]))
