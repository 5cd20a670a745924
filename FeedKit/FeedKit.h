#pragma once

// All of FeedKit.
#include "FeedKit/FeedParser.h"
#include "FeedKit/LenientReading.h"
#include "FeedKit/fetch/CurlFetcher.h"
#include "FeedKit/xml/DescriptorInputStream.h"
