#pragma once

#include <QColor>
#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

struct SavedTab;

// The fixed light colours and the rules that give a tab its chip letter and
// colour. Everything is a pure function of its input so the same site always
// looks the same, in every window and across runs.
class ThemeRules : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

public:
    using QObject::QObject;

    // A named colour of the light theme ("petrol", "ink", ...); black for an
    // unknown name so a typo shows up at once.
    Q_INVOKABLE static QColor namedColor(const QString &name);
    static const QStringList &colorNames();

    // The colour of a topic by its palette key; grey for any other key.
    Q_INVOKABLE static QColor topicColor(const QString &name);

    // The site part of a domain: the second-to-last label, or the whole
    // domain when it has no dot.
    Q_INVOKABLE static QString chipKey(const QString &domain);
    Q_INVOKABLE static QString chipLetter(const QString &domain, const QString &title);
    Q_INVOKABLE static QColor chipColor(const QString &key);

    static QString chipKey(const SavedTab &tab);
    static QString chipLetter(const SavedTab &tab);

    static int chipPaletteIndex(const QString &key);
    static const QList<QColor> &chipPalette();
    static quint32 fnv1a(const QByteArray &bytes);
};
