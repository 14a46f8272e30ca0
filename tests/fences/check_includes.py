#!/usr/bin/env python3
"""Fails when an #include crosses a fence the wrong way.

Each folder under src/ is a layer and may include only the folders listed for it below; an
engine never includes a Qt Widgets header; src/ and bench/ never include tests/. The build
already refuses most wrong includes (each library exposes only its own headers), but this
check also names the rule that was broken, and catches what a link line would let through.

usage: check_includes.py REPO_ROOT QT_WIDGETS_INCLUDE_DIR
"""
import pathlib
import re
import sys

# folder -> folders it may include (itself always allowed)
ALLOWED = {
    "platform": set(),
    "platform/ui": {"platform"},
    "icmp": {"platform"},
    "dns": {"platform"},
    "whois": set(),
    "help": {"platform"},
    "monitor": {"icmp", "platform"},
    "asn": {"platform"},
    "app": {"platform", "platform/ui", "icmp", "dns", "whois", "help", "monitor", "asn"},
}
# Folders whose code may use widgets.
WIDGET_FOLDERS = {"app", "platform/ui"}

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')


def layer_of(path: pathlib.Path, src: pathlib.Path) -> str:
    return path.parent.relative_to(src).as_posix()


def main() -> int:
    root = pathlib.Path(sys.argv[1]).resolve()
    widgets = pathlib.Path(sys.argv[2]) if len(sys.argv) > 2 else None
    src = root / "src"
    widget_headers = {p.name for p in widgets.iterdir()} if widgets and widgets.is_dir() else set()
    folders = {p.parent.relative_to(src).as_posix() for p in src.rglob("*") if p.suffix in (".h", ".cpp")}
    unknown = folders - ALLOWED.keys()
    problems = [f"src/{f}: a folder with no rule in check_includes.py" for f in sorted(unknown)]

    files = [p for d in ("src", "tests", "bench") for p in (root / d).rglob("*") if p.suffix in (".h", ".cpp")]
    for path in sorted(files):
        rel = path.relative_to(root).as_posix()
        in_src = rel.startswith("src/")
        layer = layer_of(path, src) if in_src else None
        for number, line in enumerate(path.read_text(errors="replace").splitlines(), 1):
            match = INCLUDE.match(line)
            if not match:
                continue
            kind, name = match.groups()
            where = f"{rel}:{number}: #include {kind}{name}{'>' if kind == '<' else kind}"
            if kind == "<":
                if in_src and layer not in WIDGET_FOLDERS and (name in widget_headers or name.startswith("QtWidgets")):
                    problems.append(f"{where}: a widget header in {layer}, which must build without widgets")
                continue
            if "/" not in name:
                continue  # the same folder (or a test's own support folder)
            target = name.rsplit("/", 1)[0]
            if target.startswith("tests") or (root / "tests" / name).exists() and not (src / name).exists():
                if not rel.startswith("tests/"):
                    problems.append(f"{where}: only tests may include test code")
                continue
            if not (src / name).exists():
                if not name.endswith(".moc"):
                    problems.append(f"{where}: no such header under src/")
                continue
            if in_src and target != layer and target not in ALLOWED.get(layer, set()):
                problems.append(f"{where}: {layer} may include only {sorted(ALLOWED.get(layer, set())) or 'itself'}")
    for problem in problems:
        print(problem)
    print(f"{len(files)} files checked, {len(problems)} wrong includes")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
