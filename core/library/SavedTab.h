#pragma once

#include <QDateTime>
#include <QString>
#include <QStringList>
#include <QUuid>

#include <optional>

// One saved browser tab.
struct SavedTab
{
    QUuid id;
    QString url;
    QString title;
    QString domain;
    QDateTime savedAt;
    QUuid windowId;
    qint64 windowIndex = 0; // 1-based window number in the snapshot it came from
    qint64 tabIndex = 0;    // 1-based position inside that window
    QString text;
    QString summary;
    std::optional<QUuid> topicId;
    QString note;
    std::optional<QDateTime> reminderAt;
    QStringList projectTags;
    QStringList tags;
    std::optional<QDateTime> readAt;
    bool isDemo = false;

    // Lower-cased host without one leading "www."; "" when the text has no host.
    static QString domainOf(const QString &url);

    // Title, domain, summary, tags, note and the first 1,500 characters of
    // the text, empty parts dropped, joined with ". ".
    QString searchableText() const;

    bool isRead() const { return readAt.has_value(); }

    friend bool operator==(const SavedTab &, const SavedTab &) = default;
};
