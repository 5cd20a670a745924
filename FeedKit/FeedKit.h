#pragma once

// All of FeedKit.
#include "FeedKit/FeedParser.h"
#include "FeedKit/Read.h"
#include "FeedKit/discovery/Discovery.h"
#include "FeedKit/entries/Entries.h"
#include "FeedKit/fetch/CurlFetcher.h"
#include "FeedKit/html/Text.h"
#include "FeedKit/opml/OPML.h"
#include "FeedKit/xml/DescriptorInputStream.h"
