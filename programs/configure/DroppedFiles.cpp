#include "programs/configure/DroppedFiles.h"

#include "platform/quartzcomposer/file/CompositionReader.h"

#include <filesystem>

namespace vitrel {
std::vector<NSURL> localFiles(const QList<QUrl>& urls)
{
    std::vector<NSURL> files;
    for (const QUrl& url : urls) {
        if (!url.isLocalFile() || !url.host().isEmpty())
            continue;
        const QByteArray path = QByteArray::fromPercentEncoding(url.path(QUrl::FullyEncoded).toUtf8());
        if (path.startsWith('/') && !path.contains('\0'))
            files.push_back(NSURL::fileURLWithPath(path.toStdString()));
    }
    return files;
}

std::vector<NSURL> compositionsAmong(const std::vector<NSURL>& files)
{
    std::vector<NSURL> compositions;
    for (const NSURL& file : files) {
        std::error_code error;
        if (std::filesystem::is_regular_file(file.path(), error) && qc::whyNoComposition(file.path()).empty())
            compositions.push_back(file);
    }
    return compositions;
}

} // namespace vitrel
