#include "context/fileservice.h"

QString FileService::fileKey(const QString &contextId, const QString &fileName)
{
    return contextId + QLatin1Char('_') + fileName;
}

bool FileService::contains(const QString &key) const
{
    return m_files.contains(key);
}

QByteArray FileService::value(const QString &key)
{
    const auto found = m_files.constFind(key);
    if (found != m_files.constEnd())
        return *found;
    insert(key, QByteArray());
    return m_files.value(key);
}

void FileService::insert(const QString &key, const QByteArray &bytes)
{
    // Never null, so that a file of no bytes can be told from one that is not there.
    m_files.insert(key, bytes.isNull() ? QByteArray("") : bytes);
}

void FileService::remove(const QString &key)
{
    m_files.remove(key);
}
