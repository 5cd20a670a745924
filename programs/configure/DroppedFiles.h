#pragma once

#include "platform/foundation/NSURL.h"

#include <QList>
#include <QUrl>

#include <vector>

namespace vitrel {

// The files of this machine among `urls`, their paths byte for byte as they were written, also where these are no text.
std::vector<NSURL> localFiles(const QList<QUrl>& urls);

// Those that are files with a composition's name.
std::vector<NSURL> compositionsAmong(const std::vector<NSURL>& files);

} // namespace vitrel
