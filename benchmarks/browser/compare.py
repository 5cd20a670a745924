#!/usr/bin/env python3
"""Vitrel's Almanac beside a web page that shows about the same, by turns: processor time and memory of all processes.

    benchmarks/browser/compare.py [--rounds N] [--seconds S] [build/release/bin/vitrel]

Needs Xvfb and chromium, which nothing else here does. Both draw 1280x720 on the software renderer of Mesa.
"""
import argparse
import os
import pathlib
import signal
import subprocess
import tempfile
import time

HERE = pathlib.Path(__file__).resolve().parent
TICK = os.sysconf("SC_CLK_TCK")


def tree(root):
    children = {}
    for entry in pathlib.Path("/proc").iterdir():
        if entry.name.isdigit():
            try:
                parent = int((entry / "stat").read_text().rsplit(")", 1)[1].split()[1])
            except OSError:
                continue
            children.setdefault(parent, []).append(int(entry.name))
    found, open_ = [], [root]
    while open_:
        found.append(open_.pop())
        open_ += children.get(found[-1], [])
    return found


def spent(pids):
    total = 0
    for pid in pids:
        try:
            fields = pathlib.Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()
            total += int(fields[11]) + int(fields[12])
        except OSError:
            pass
    return total / TICK


def share(pids):
    """Of memory, in MiB, shared pages counted in proportion."""
    total = 0
    for pid in pids:
        try:
            for line in pathlib.Path(f"/proc/{pid}/smaps_rollup").read_text().splitlines():
                if line.startswith("Pss:"):
                    total += int(line.split()[1])
        except OSError:
            pass
    return total / 1024


def measure(command, seconds):
    with tempfile.TemporaryDirectory() as home:
        display = subprocess.Popen(["Xvfb", "-displayfd", "1", "-screen", "0", "1280x720x24", "-nolisten", "tcp"],
                                   stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        number = display.stdout.readline().decode().strip()
        environment = dict(os.environ, DISPLAY=f":{number}", HOME=home, XDG_CONFIG_HOME=home, XDG_CACHE_HOME=home,
                           LP_NUM_THREADS="1", LIBGL_ALWAYS_SOFTWARE="1")
        player = subprocess.Popen([argument.replace("HOME", home) for argument in command], env=environment,
                                  stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, start_new_session=True)
        time.sleep(8)
        pids = tree(player.pid)
        before, since = spent(pids), time.monotonic()
        time.sleep(seconds)
        used = (spent(pids) - before) / (time.monotonic() - since)
        memory = share(tree(player.pid))
        picture = os.environ.get("VITREL_COMPARE_PICTURES")
        if picture:
            subprocess.run(["import", "-window", "root", f"{picture}/{pathlib.Path(command[0]).name}.png"],
                           env=environment, check=False)
        os.killpg(player.pid, signal.SIGTERM)
        player.wait()
        display.terminate()
        display.wait()
        return 100 * used, memory


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--seconds", type=float, default=15)
    parser.add_argument("vitrel", nargs="?", default=str(HERE.parents[1] / "build/release/bin/vitrel"))
    options = parser.parse_args()
    commands = {
        "vitrel": [options.vitrel, "play", "--demo", "--window", "1280x720"],
        "browser": ["chromium", "--no-sandbox", "--user-data-dir=HOME/profile", "--no-first-run", "--kiosk",
                    "--window-size=1280,720", "--ignore-gpu-blocklist", "--use-gl=angle", "--use-angle=gl",
                    "--disable-extensions", f"file://{HERE}/almanac.html"],
    }
    results = {name: [] for name in commands}
    for _ in range(options.rounds):
        for name, command in commands.items():
            used, memory = measure(command, options.seconds)
            results[name].append((used, memory))
            print(f"{name}\t{used:.1f} % of a core\t{memory:.0f} MiB", flush=True)
    middle = {name: [sorted(column)[len(rounds) // 2] for column in zip(*rounds)] for name, rounds in results.items()}
    print(f"vitrel against browser: {middle['vitrel'][0] / middle['browser'][0]:.2f} of the processor, "
          f"{middle['vitrel'][1] / middle['browser'][1]:.2f} of the memory")


if __name__ == "__main__":
    main()
