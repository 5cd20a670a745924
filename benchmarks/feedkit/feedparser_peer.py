# Python's feedparser. "time PASSES FILE...": for each pass its seconds of processor time, then the titles as one JSON
# line. "read FILE": what it tells of the document, as bench_feedkit's peers do.
import calendar
import json
import sys
import time

import feedparser


def item_of(entry):
    item = {key: entry[key] for key in ("title", "link", "author") if key in entry}
    item["content"] = entry.content[0].value if "content" in entry else entry.get("summary", "")
    date = entry.get("published_parsed") or entry.get("updated_parsed")
    if date:
        item["published"] = calendar.timegm(date)
    if entry.get("media_thumbnail"):
        item["image"] = entry.media_thumbnail[0].get("url")
    if "podcast_transcript" in entry and isinstance(entry.podcast_transcript, dict):
        item["transcript"] = entry.podcast_transcript.get("url")
        item["raw"] = ["transcript"]
    return item


def read(file):
    feed = feedparser.parse(open(file, "rb").read())
    # It never fails: a document of which nothing was recognised counts as given up.
    if not feed.entries and not feed.feed:
        return None
    return {"title": feed.feed.get("title", ""), "items": [item_of(entry) for entry in feed.entries]}


def measure(passes, files):
    documents = [open(name, "rb").read() for name in files]
    for _ in range(passes):
        start = time.process_time()
        feeds = [feedparser.parse(document) for document in documents]
        print(time.process_time() - start)
    print(json.dumps([[entry.get("title", "") for entry in feed.entries] for feed in feeds]))


if sys.argv[1] == "read":
    print(json.dumps(read(sys.argv[2])))
else:
    measure(int(sys.argv[2]), sys.argv[3:])
