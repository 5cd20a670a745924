// gofeed. "time PASSES FILE...": for each pass its seconds of processor time, then the titles as one JSON line. "read
// FILE": what it tells of the document, as bench_feedkit's peers do.
package main

import (
	"bytes"
	"encoding/json"
	"fmt"
	"os"
	"strconv"
	"syscall"

	"github.com/mmcdole/gofeed"
	ext "github.com/mmcdole/gofeed/extensions"
)

// Of the whole process, for its memory is collected on other threads.
func seconds() float64 {
	var usage syscall.Rusage
	syscall.Getrusage(syscall.RUSAGE_SELF, &usage)
	return float64(usage.Utime.Nano()+usage.Stime.Nano()) / 1e9
}

func parse(document []byte) *gofeed.Feed {
	feed, err := gofeed.NewParser().Parse(bytes.NewReader(document))
	if err != nil {
		return nil
	}
	return feed
}

func urlOf(elements []ext.Extension) string {
	if len(elements) == 0 {
		return ""
	}
	return elements[0].Attrs["url"]
}

func itemOf(from *gofeed.Item) map[string]any {
	item := map[string]any{"title": from.Title, "link": from.Link, "content": from.Content}
	if from.Content == "" {
		item["content"] = from.Description
	}
	if from.Author != nil {
		item["author"] = from.Author.Name
	}
	if from.PublishedParsed != nil {
		item["published"] = from.PublishedParsed.Unix()
	} else if from.UpdatedParsed != nil {
		item["published"] = from.UpdatedParsed.Unix()
	}
	var raw []string
	putRaw := func(key string, url string) {
		if url != "" && item[key] == nil {
			item[key] = url
			raw = append(raw, key)
		}
	}
	if from.Image != nil {
		item["image"] = from.Image.URL
	}
	putRaw("image", urlOf(from.Extensions["media"]["thumbnail"]))
	if groups := from.Extensions["media"]["group"]; len(groups) > 0 {
		putRaw("image", urlOf(groups[0].Children["thumbnail"]))
	}
	putRaw("transcript", urlOf(from.Extensions["podcast"]["transcript"]))
	item["raw"] = raw
	return item
}

func read(file string) any {
	document, _ := os.ReadFile(file)
	feed := parse(document)
	if feed == nil {
		return nil
	}
	items := []any{}
	for _, item := range feed.Items {
		items = append(items, itemOf(item))
	}
	return map[string]any{"title": feed.Title, "items": items}
}

func measure(passes int, files []string) any {
	var documents [][]byte
	for _, file := range files {
		document, _ := os.ReadFile(file)
		documents = append(documents, document)
	}
	titles := make([][]string, len(documents))
	for pass := 0; pass < passes; pass++ {
		start := seconds()
		for k, document := range documents {
			feed := parse(document)
			titles[k] = []string{}
			for i := 0; feed != nil && i < len(feed.Items); i++ {
				titles[k] = append(titles[k], feed.Items[i].Title)
			}
		}
		fmt.Println(seconds() - start)
	}
	return titles
}

func main() {
	var result any
	if os.Args[1] == "read" {
		result = read(os.Args[2])
	} else {
		passes, _ := strconv.Atoi(os.Args[2])
		result = measure(passes, os.Args[3:])
	}
	line, _ := json.Marshal(result)
	fmt.Println(string(line))
}
