# Small documents, a capability or a fault in each, and what a reader should find in them. Bytes, for some are wrongly
# encoded on purpose.

RSS = b'<?xml version="1.0" encoding="UTF-8"?>\n<rss version="2.0"%s><channel><title>Feed</title>' \
      b'<link>https://example.org/</link><description>d</description>%s</channel></rss>\n'
ATOM = b'<?xml version="1.0" encoding="UTF-8"?>\n<feed xmlns="http://www.w3.org/2005/Atom"%s><title>Feed</title>' \
       b'<id>tag:example.org,2006:f</id><updated>2006-03-02T15:04:05Z</updated>%s</feed>\n'
ENTRY = b'<entry><title>First</title><id>tag:example.org,2006:1</id><updated>2006-03-02T15:04:05Z</updated>%s</entry>'
MEDIA = b' xmlns:media="http://search.yahoo.com/mrss/"'
THUMBNAIL = b'<media:thumbnail url="https://example.org/t.jpg"/>'
RDF = b'<?xml version="1.0"?>\n<rdf:RDF xmlns:rdf="http://www.w3.org/1999/02/22-rdf-syntax-ns#" xmlns="%s"%s>' \
      b'<channel%s><title>Feed</title><link>https://example.org/</link><description>d</description>%s</channel>' \
      b'<item%s><title>First</title><link>https://example.org/1</link></item></rdf:RDF>\n'


def rss(items, namespaces=b""):
    return RSS % (namespaces, items)


def item(title, inner=b""):
    return b"<item><title>" + title + b"</title><link>https://example.org/1</link>" + inner + b"</item>"


def atom(inner, namespaces=b""):
    return ATOM % (namespaces, ENTRY % inner)


FIRST = {"title": "First"}
MARCH = 1141311845  # 2006-03-02T15:04:05Z

# Of each: what it is, the document, and what the first item must have; a list stands for several items.
ROWS = [
    ("RSS 0.90", RDF % (b"http://my.netscape.com/rdf/simple/0.9/", b"", b"", b"", b""), FIRST),
    ("RSS 0.91", rss(item(b"First")).replace(b'"2.0"', b'"0.91"'), FIRST),
    ("RSS 1.0", RDF % (b"http://purl.org/rss/1.0/", b"", b' rdf:about="https://example.org/"',
                       b'<items><rdf:Seq><rdf:li rdf:resource="https://example.org/1"/></rdf:Seq></items>',
                       b' rdf:about="https://example.org/1"'), FIRST),
    ("RSS 2.0", rss(item(b"First")), {"title": "First", "link": "https://example.org/1"}),
    ("Atom 0.3", b'<?xml version="1.0"?>\n<feed version="0.3" xmlns="http://purl.org/atom/ns#"><title>Feed</title>'
                 b'<link rel="alternate" type="text/html" href="https://example.org/"/><modified>2006-03-02T15:04:05Z'
                 b'</modified><entry><title>First</title><link rel="alternate" type="text/html" '
                 b'href="https://example.org/1"/><id>tag:example.org,2006:1</id><issued>2006-03-02T15:04:05Z</issued>'
                 b'<modified>2006-03-02T15:04:05Z</modified></entry></feed>\n',
     {"title": "First", "link": "https://example.org/1"}),
    ("Atom 1.0", atom(b'<link href="https://example.org/1"/><published>2006-03-02T15:04:05Z</published>'),
     {"title": "First", "link": "https://example.org/1"}),
    ("JSON Feed 1.0", b'{"version": "https://jsonfeed.org/version/1", "title": "Feed", "items": [{"id": "1", "title": '
                      b'"First", "content_text": "c", "author": {"name": "Me"}}]}',
     {"title": "First", "author": "Me"}),
    ("JSON Feed 1.1 (`authors`)", b'{"version": "https://jsonfeed.org/version/1.1", "title": "Feed", "items": [{"id": "1", '
                      b'"title": "First", "content_text": "c", "authors": [{"name": "Me"}]}]}',
     {"title": "First", "author": "Me"}),
    ("Media RSS thumbnail of an item", rss(item(b"First", THUMBNAIL), MEDIA), {"image": "https://example.org/t.jpg"}),
    ("Media RSS thumbnail in a group", rss(item(b"First", b"<media:group>" + THUMBNAIL + b"</media:group>"), MEDIA),
     {"image": "https://example.org/t.jpg"}),
    ("podcast transcript", rss(item(b"First", b'<podcast:transcript url="https://example.org/1.vtt" type="text/vtt"/>'),
                               b' xmlns:podcast="https://podcastindex.org/namespace/1.0"'),
     {"transcript": "https://example.org/1.vtt"}),
    ("XHTML content as markup", atom(b'<content type="xhtml"><div xmlns="http://www.w3.org/1999/xhtml">a <em>word</em>'
                                     b'</div></content>'), {"content": "...word</em>"}),
    ("relative address made whole by `xml:base`",
     atom(b'<link href="1"/>', b' xml:base="https://example.org/a/"'), {"link": "https://example.org/a/1"}),
    ("undeclared entities", rss(item(b"Caf&eacute;&nbsp;&hellip;")), {"title": "Caf\u00e9\u00a0\u2026"}),
    ("bare ampersands", rss(item(b"R&D & more")), {"title": "R&D & more"}),
    ("wrong charset: says UTF-8, is windows-1252", rss(item(b"Caf\xe9 \x93x\x94")), {"title": "Caf\u00e9 \u201cx\u201d"}),
    ("junk ahead: a blank line before the XML declaration", b"\n" + rss(item(b"First")), FIRST),
    ("junk ahead: a warning of a program", b"<br />\n<b>Warning</b>: in index.php<br />\n" + rss(item(b"First")), FIRST),
    ("junk ahead: plain text", b"Notice: in index.php on line 3\n" + rss(item(b"First")), FIRST),
    ("document cut off in its third item", rss(item(b"First") + item(b"Second") + item(b"Third"))[:-70],
     [FIRST, {"title": "Second"}]),
    ("unclosed tags in a description", rss(item(b"First", b"<description>a<br>b</description>") + item(b"Second")),
     [FIRST, {"title": "Second"}]),
    ("control characters", rss(item(b"First", b"<description>a\x0bb\x00c</description>") + item(b"Second")),
     [FIRST, {"title": "Second"}]),
    ("unusual prefix: `<d:creator>`", rss(item(b"First", b"<d:creator>Me</d:creator>"),
                                          b' xmlns:d="http://purl.org/dc/elements/1.1/"'), {"author": "Me"}),
    ("unusual prefix: `<a:entry>`", b'<a:feed xmlns:a="http://www.w3.org/2005/Atom"><a:title>Feed</a:title><a:entry>'
                                    b'<a:title>First</a:title></a:entry></a:feed>', FIRST),
    ("undeclared prefix: `<dc:creator>`", rss(item(b"First", b"<dc:creator>Me</dc:creator>")), {"author": "Me"}),
]

# Dates that aren't as RFC 822 has them, each in an RSS item of its own; all mean 2006-03-02 15:04:05 or 15:04 UTC.
DATES = [
    "Thu, 2 Mar 06 15:04:05 GMT", "2 Mar 2006 15:04:05 +0000", "Thu, 02 Mar 2006 10:04:05 EST",
    "Thursday, 2 March 2006 15:04:05 GMT", "Wed, 02 Mar 2006 15:04:05 GMT", "2006-03-02T15:04:05Z",
    "2006-03-02 15:04:05", "2006-03-02T16:04:05+0100", "March 2, 2006 3:04 pm", "Thu Mar  2 15:04:05 2006",
    "Thu, 02 Mar 2006 16:04:05 CET", "Thu, 02 Mar 2006 15:04:05",
]


def dated():
    return rss(b"".join(item(b"First", b"<pubDate>" + date.encode() + b"</pubDate>") for date in DATES))


def laughs():
    entities = b"".join(b'<!ENTITY l%d "%s">' % (k, b"&l%d;" % (k - 1) * 10) for k in range(1, 10))
    return rss(item(b"&l9;")).replace(b"<rss", b'<!DOCTYPE rss [<!ENTITY l0 "lol">' + entities + b"]>\n<rss")


HOSTILE = [
    ("a billion laughs", laughs()),
    ("1 M nested elements", rss(item(b"First", b"<description>" + b"<a>" * 1000000 + b"</a>" * 1000000 +
                                     b"</description>"))),
    ("1 M nested JSON arrays", b'{"version": "https://jsonfeed.org/version/1", "title": "Feed", "items": ' +
     b"[" * 1000000 + b"]" * 1000000 + b"}"),
    ("300,000 attributes of one element", rss(item(b"First", b"<a " + b" ".join(
        b'x%d=""' % k for k in range(300000)) + b"/>"))),
]
