#pragma once

// All of FeedKit.
#include "FeedKit/FeedParser.h"
#include "FeedKit/Read.h"
#include "FeedKit/entries/Entries.h"
#include "FeedKit/fetch/CurlFetcher.h"
#include "FeedKit/xml/DescriptorInputStream.h"
