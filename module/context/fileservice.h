#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QMap>
#include <QtCore/QObject>
#include <QtCore/QString>

/// The bytes of the files attached to contexts, in memory, under a file key: the context's id, "_"
/// and the file's name. Owned by the plug-in object. Bytes stay until they are removed by key, also
/// when their context is gone.
class FileService final : public QObject
{
    Q_OBJECT

public:
    static QString fileKey(const QString &contextId, const QString &fileName);

    bool contains(const QString &key) const;

    /// The bytes under `key`. An unknown key is entered with empty bytes, which are returned.
    QByteArray value(const QString &key);

    void insert(const QString &key, const QByteArray &bytes);
    void remove(const QString &key);

private:
    QMap<QString, QByteArray> m_files;
};
