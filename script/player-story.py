#!/usr/bin/python3
"""Judges for script/try-players what a trace of `vitrel play` says a player's tracks were shown as.

player-story.py composition                     prints a composition with all inputs that are looked at
player-story.py play NAME FOLDER                a real player's trace, steps and version are in FOLDER
player-story.py replay NAME FOLDER RECORDINGS   the trace of RECORDINGS/NAME.json is in FOLDER
player-story.py slim FILE                       prints a recording without what no client of ours reads, some of which
                                                the bus library of Python refuses
"""
import json, os, re, sys
from urllib.parse import unquote

PORTS = {"Name": "QCStringPort", "Artist": "QCStringPort", "Album": "QCStringPort", "Length": "QCStringPort",
         "Year": "QCIndexPort", "isPlaying": "QCBooleanPort", "IsArtworkAvailable": "QCBooleanPort",
         "Artwork": "QCGLImagePort"}
TRACKS = [("First Song", "Ann One", "Blue Album", "1:01", 2021),
          ('Second "Song" & <More>', "Bob Two", "Blue Album", "1:02", 1999),
          ("夜の電車", "山田花子", "東京の空", "1:03", 2010)]
NOBODY = "No music playing"
# How far apart the writes of one change may lie, in seconds.
APART = 0.05


def composition():
    patches = {key: {"class": "QCSplitter", "settings": {"portClass": port}} for key, port in PORTS.items()}
    patches["Board"] = {"class": "QCBillboard"}
    return {"inputs": {key: key + ".input" for key in PORTS}, "patches": patches,
            "connections": ["Artwork.output > Board.inputImage"]}


def read(path, default=""):
    return open(path).read().strip() if os.path.exists(path) else default


def changes(folder):
    """What is shown after each change: seconds since the epoch, and the inputs."""
    path = os.path.join(folder, "trace")
    began = os.stat(path).st_ctime if not os.path.exists(path) else birth(path)
    shown, out, last = {}, [], None
    for line in open(path):
        one = json.loads(line)
        if one.get("key") not in PORTS:
            continue
        if last is not None and one["t"] - last > APART:
            out.append((began + last, dict(shown)))
        shown[one["key"]] = one["value"]
        last = one["t"]
    if last is not None:
        out.append((began + last, dict(shown)))
    return out


def birth(path):
    import subprocess
    return float(subprocess.run(["stat", "-c", "%.9W", path], capture_output=True, text=True, check=True).stdout)


def say(name, text, wrong=()):
    print(f"{name:28} {'WRONG' if wrong else 'good '}  {text}".rstrip())
    for line in wrong:
        print(" " * 36 + line)
    sys.exit(1 if wrong else 0)


def play(name, folder):
    failed = read(os.path.join(folder, "failed"))
    if failed:
        print(f"{name:28} -      {failed}")
        return
    steps = [json.loads(line) for line in open(os.path.join(folder, "steps"))]
    told = changes(folder)
    wrong, lacks, index = [], set(), 0
    titles = {track[0] for track in TRACKS}
    for _, shown in told:
        title = shown.get("Name")
        if shown.get("isPlaying") and title not in titles | {NOBODY, None}:
            wrong.append(f"shown for a moment: {title!r}")
    seen = []
    for step in steps:
        shown = {}
        for at, now in told:
            if at <= step["at"]:
                shown = now
        if step["step"] == "quit":
            if shown.get("Name") != NOBODY:
                wrong.append(f"after its end: {shown.get('Name')!r}")
            continue
        plays = bool(shown.get("isPlaying"))
        if step["step"] in ("start", "next", "play") and not plays:
            wrong.append(f"{step['step']}: isn't shown as playing")
        track = next((t for t in TRACKS if t[0] == shown.get("Name")), None)
        if track is None:
            wrong.append(f"{step['step']}: {shown.get('Name')!r}")
            continue
        if step["step"] in ("start", "next"):
            seen.append(TRACKS.index(track) + 1)
        for key, value in zip(("Artist", "Album", "Length", "Year"), track[1:]):
            if shown.get(key) in (None, "", 0):
                lacks.add(key.lower())
            elif shown.get(key) != value:
                wrong.append(f"{step['step']}: {key} {shown.get(key)!r} for {value!r}")
        if not shown.get("IsArtworkAvailable"):
            lacks.add(f"cover of {TRACKS.index(track) + 1}")
    if len(set(seen)) < 2:
        lacks.add("change of track")
    notes = read(os.path.join(folder, "notes"))
    text = f"{read(os.path.join(folder, 'version'))}: tracks {' '.join(map(str, seen))}"
    text += f"; lacks {', '.join(sorted(lacks))}" if lacks else "; lacks nothing"
    say(name, text + (f"; {notes}" if notes else ""), list(dict.fromkeys(wrong)))


YEARS = {"First Song": 2021, 'Second "Song" & <More>': 1999, "Third Song": 2003, "夜の電車": 2010, "أغنية الليل": 2015,
         "Second Song": 2021}


def plain(typed):
    value = typed["value"]
    if typed["type"] == "v":
        return plain(value)
    return {key: plain(member) for key, member in value.items()} if isinstance(value, dict) else value


def expected(metadata):
    """What is to be shown of a recorded state, by what the files of the recordings hold."""
    text = lambda value: ", ".join(value) if isinstance(value, list) else str(value or "")
    title = text(metadata.get("xesam:title")) or unquote(text(metadata.get("xesam:url"))).rpartition("/")[2]
    seconds = int(float(metadata.get("mpris:length") or 0) / 1e6)
    told = any(key in metadata for key in ("year", "sayonara:year", "date", "DATE", "xesam:contentCreated"))
    return (title, text(metadata.get("xesam:artist")), text(metadata.get("xesam:album")),
            f"{seconds // 60}:{seconds % 60:02}" if seconds else "", YEARS.get(title, 0) if told else 0)


def collapsed(items):
    return [item for k, item in enumerate(items) if k == 0 or items[k - 1] != item]


def replay(name, folder, recordings):
    failed = read(os.path.join(folder, "failed"))
    if failed:
        print(f"{name:28} -      {failed}")
        return
    recording = json.load(open(os.path.join(recordings, name + ".json")))
    states = [plain_state for step in recording["steps"] if "state" in step
              for plain_state in [{key: plain(value) for key, value in step["state"]["player"].items() if key != "error"}]]
    isSilent = not any("signal" in step for step in recording["steps"])
    wanted = [expected(state.get("Metadata") or {}) for state in states if state.get("PlaybackStatus") == "Playing"]
    told = [tuple(shown.get(key) or ("" if key != "Year" else 0) for key in ("Name", "Artist", "Album", "Length", "Year"))
            for _, shown in changes(folder) if shown.get("isPlaying") and shown.get("Name") != NOBODY]
    if recording["origin"] != "recorded":  # their times are invented, by which lengths are corrected
        wanted, told = ([item[:3] + item[4:] for item in items] for items in (wanted, told))
    wanted, told = collapsed(wanted), collapsed(told)
    if isSilent:
        wanted = wanted[:1]
    wrong = []
    if told != wanted:
        for mark, items, others in (("shown, and not settled:", told, wanted), ("never shown:", wanted, told)):
            wrong += [f"{mark} {item}" for item in items if item not in others]
        wrong = wrong or [f"in another order: {[item[0] for item in told]} for {[item[0] for item in wanted]}"]
    say(name, f"{len(told)} tracks", wrong)


def slim(path):
    recording = json.load(open(path))

    def isRead(step):
        member = step.get("signal", "")
        return not member or member.endswith("Player.Seeked") or (
            member.endswith(".PropertiesChanged") and step["arguments"][0]["value"] == "org.mpris.MediaPlayer2.Player")

    recording["steps"] = [step for step in recording["steps"] if isRead(step)]
    json.dump(recording, sys.stdout)


if sys.argv[1] == "composition":
    print(json.dumps(composition()))
elif sys.argv[1] == "slim":
    slim(sys.argv[2])
else:
    {"play": play, "replay": replay}[sys.argv[1]](*sys.argv[2:])
