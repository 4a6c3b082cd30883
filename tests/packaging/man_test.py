#!/usr/bin/env python3
"""man_test.py PACKAGE_FOLDER: the shipped manual page, as `man` shows it, has a section
for every command of --help with its every option and argument, exit status and example."""
import glob, os, re, subprocess, sys, tempfile


def run(*args):
    env = dict(os.environ, LC_ALL="C", MANWIDTH="200")
    return subprocess.run(args, env=env, capture_output=True, text=True, check=True).stdout


def section(text, title):
    """The lines under a heading of --help ("Options:" ...) up to the next blank line."""
    m = re.search(r"^%s:\n((?:.+\n)*)" % title, text, re.M | re.I)
    return m.group(1).splitlines() if m else []


def commands(cli, path):
    """(path, names of its options and arguments) for the command and all below it."""
    help_text = run(cli, *path, "--help")
    names = set()
    for line in section(help_text, "Options") + section(help_text, "Positionals"):
        names.update(n for n in line.split()[0].split(",") if n not in ("-h", "--help"))
    yield path, names
    for line in section(help_text, "Subcommands"):
        yield from commands(cli, path + [line.split()[0]])


with tempfile.TemporaryDirectory() as root:
    deb = glob.glob(os.path.join(sys.argv[1], "ebootforge_*.deb"))[0]
    subprocess.run(["dpkg-deb", "-x", deb, root], check=True)
    cli = os.path.join(root, "usr/bin/ebootforge-cli")
    page = run("man", "-l", os.path.join(root, "usr/share/man/man1/ebootforge-cli.1.gz"))
    tree = list(commands(cli, []))

# The page's sections by heading; a command's part of COMMANDS starts at the heading that
# names its path and runs to the next heading.
parts = re.split(r"^(\S.*|   ebootforge-cli .*)$", page, flags=re.M)
headings = dict(zip(parts[1::2], parts[2::2]))
paths = {" ".join(p) for p, _ in tree}
failures = []
for path, names in tree:
    key = " ".join(path)
    if not path:
        text = headings.get("GLOBAL OPTIONS", "")
    else:
        # The heading whose longest leading run of command words is this path.
        found = [t for h, t in headings.items() if h.startswith("   ebootforge-cli ") and
                 max((p for p in paths if (h.split()[1:] + [""])[:len(p.split())] == p.split()),
                     key=len, default="") == key]
        text = found[0] if found else ""
        if not text:
            failures.append("no section for the command '%s'" % key)
            continue
        if "Exit status:" not in text or ("ebootforge-cli " + key) not in text.split("Examples:")[-1]:
            failures.append("'%s' has no exit status or no example of itself" % key)
    for name in sorted(names):
        if not re.search(r"(?<![\w-])%s(?![\w-])" % re.escape(name), text):
            failures.append("'%s' lacks %s in the manual page" % (key or "ebootforge-cli", name))

if len(tree) < 20:
    failures.append("only %d commands found in --help" % len(tree))
print("\n".join(failures) or "OK: %d commands" % len(tree))
sys.exit(1 if failures else 0)
