#include "programs/configure/DroppedFiles.h"

#include <filesystem>

namespace vitrel {
namespace {

bool hasCompositionName(const std::string& path)
{
    const std::string extension = std::filesystem::path(path).extension();
    return QByteArray::fromStdString(extension).toLower() == ".qtz";
}

} // namespace

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
        if (hasCompositionName(file.path()) && std::filesystem::is_regular_file(file.path(), error))
            compositions.push_back(file);
    }
    return compositions;
}

} // namespace vitrel
