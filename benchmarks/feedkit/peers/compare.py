#!/usr/bin/python3
"""Asks every parser for the same small documents and prints tables of what each of them told, as docs/feedkit-peers.md
has them. compare.py BENCH_FEEDKIT [small | hostile | FOLDER OF REAL DOCUMENTS]...

Addresses count if they are whole, dates if they are the right point in time. A "crash" is a death by a signal or, of
Python and Go, an exception. "raw" is what is handed out as a mere element, which one has to look for oneself."""
import json
import os
import resource
import subprocess
import sys
import tempfile
import time

from documents import DATES, HOSTILE, MARCH, ROWS, dated

HERE = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
SECONDS = 60
MEMORY = 4 << 30


def commands(bench, folder):
    gofeed = os.path.join(folder, "gofeed_peer")
    subprocess.run(["go", "build", "-o", gofeed, os.path.join(HERE, "gofeed_peer.go")], check=True,
                   env=dict(os.environ, GO111MODULE="off", GOPATH="/usr/share/gocode"))
    return {
        "FeedKit, strict": [bench, "read", "FeedKit"],
        "FeedKit, lenient, more": [bench, "read", "FeedKit, all"],
        "libmrss": [bench, "read", "libmrss"],
        "KDE Syndication": [bench, "read", "KDE Syndication"],
        "gofeed": [gofeed, "read"],
        "feedparser": ["/usr/bin/python3", os.path.join(HERE, "feedparser_peer.py"), "read"],
    }


def ask(command, file):
    """What it told, and if that is nothing, how it ended; its seconds and its memory in MB."""
    start = time.monotonic()
    with tempfile.TemporaryFile() as out:
        child = subprocess.Popen(command + [file], stdout=out, stderr=subprocess.DEVNULL, preexec_fn=lambda: (
            resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY)), resource.setrlimit(resource.RLIMIT_CPU, (SECONDS, SECONDS)),
            resource.setrlimit(resource.RLIMIT_CORE, (0, 0))))
        _, status, usage = os.wait4(child.pid, 0)
        child.returncode = 0
        out.seek(0)
        text = out.read().decode("utf-8", "replace")
    spent = {"seconds": time.monotonic() - start, "memory": usage.ru_maxrss / 1024}
    if status:
        signal = os.WTERMSIG(status) if os.WIFSIGNALED(status) else 0
        how = "over %d s" % SECONDS if signal in (9, 24) else "signal %d" % signal if signal else "exit %d" % (status >> 8)
        return None, how, spent
    told = json.loads(text)
    return told, "refuses" if told is None else "", spent


def has(item, wanted):
    for key, value in wanted.items():
        got = item.get(key)
        fits = value[3:] in got if isinstance(value, str) and value.startswith("...") and got else got == value
        if not fits:
            return False
    return True


def cell(command, file, wanted):
    told, how, _ = ask(command, file)
    if told is None:
        return how if how == "refuses" else "crashes (%s)" % how
    wanted = wanted if isinstance(wanted, list) else [wanted]
    items = told["items"]
    if len(items) < len(wanted):
        return "no items" if not items else "%d of %d items" % (len(items), len(wanted))
    if not all(has(*pair) for pair in zip(items, wanted)):
        return "no"
    raw = set(items[0].get("raw") or []) & set(wanted[0])
    return "raw" if raw else "yes"


def dates_cell(command, file):
    told, how, _ = ask(command, file)
    if told is None:
        return how
    read = [item.get("published") for item in told["items"]]
    missed = [date for date, got in zip(DATES, read) if got not in (MARCH, MARCH - 5)]
    print("%s misses %s" % (command[-1], missed), file=sys.stderr)
    return "%d of %d" % (len(DATES) - len(missed), len(DATES))


def hostile_cell(command, file):
    told, how, spent = ask(command, file)
    what = how or ("reads" if told["items"] else "no items")
    return "%s, %.1f s, %.0f MB" % (what, spent["seconds"], spent["memory"])


def table(title, peers, rows):
    print("\n| %s | %s |\n|---|%s" % (title, " | ".join(peers), "---|" * len(peers)))
    for name, cells in rows:
        print("| %s | %s |" % (name, " | ".join(cells)), flush=True)


def made_documents(peers, folder, title, documents, make):
    def rows():
        for k, (name, document, *wanted) in enumerate(documents):
            file = os.path.join(folder, "%d.xml" % k)
            with open(file, "wb") as out:
                out.write(document)
            yield name, [make(command, file, *wanted) for command in peers.values()]
    table(title, peers, rows())


def real_documents(peers, folder):
    """Of each peer: how many documents gave a title or an item, how many items there were in all."""
    files = sorted(os.path.join(at, name) for at, _, names in os.walk(folder) for name in names if name != "SOURCES.md")
    counts = {}
    for name, command in peers.items():
        counts[name] = []
        for file in files:
            told, how, _ = ask(command, file)
            read = told is not None and bool(told["items"] or told.get("title"))
            counts[name].append((read, len(told["items"]) if told else 0, how))
    table("of %d real documents" % len(files), peers, [
        ("read", [str(sum(read for read, _, _ in counts[name])) for name in peers]),
        ("items in all", [str(sum(items for _, items, _ in counts[name])) for name in peers]),
        ("crashes", [str(sum(how not in ("", "refuses") for _, _, how in counts[name])) for name in peers])])
    for k, file in enumerate(files):
        seen = ["%s%d" % ("" if counts[name][k][0] else "-", counts[name][k][1]) for name in peers]
        if len(set(seen)) > 1:
            print("%s: %s" % (file, " ".join(seen)), file=sys.stderr)


def main():
    with tempfile.TemporaryDirectory() as folder:
        peers = commands(os.path.abspath(sys.argv[1]), folder)
        for what in sys.argv[2:]:
            if what == "small":
                made_documents(peers, folder, "document", ROWS, cell)
                made_documents(peers, folder, "dates", [("other dates", dated())], dates_cell)
            elif what == "hostile":
                made_documents(peers, folder, "hostile", HOSTILE, hostile_cell)
            else:
                real_documents(peers, what)


if __name__ == "__main__":
    main()
