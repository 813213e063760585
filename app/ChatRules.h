#pragma once

#include <QDateTime>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QTimer>
#include <QVariantList>
#include <QVariantMap>
#include <qqmlintegration.h>

class AppModel;

// The chat window's texts and actions that are more than layout: the labels
// of an answer's action row, the next Monday 09:00 for its reminder and the
// saved-date line of a card. The reminder date follows the model's clock.
class ChatRules : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    Q_MOC_INCLUDE("AppModel.h")
    Q_PROPERTY(AppModel *model READ model WRITE setModel NOTIFY modelChanged)
    // "→ Erinnere mich Mo. 23.11. 09:00", recomputed every minute.
    Q_PROPERTY(QString remindText READ remindText NOTIFY nowChanged)

public:
    explicit ChatRules(QObject *parent = nullptr);

    AppModel *model() const { return m_model.data(); }
    void setModel(AppModel *model);

    // "Öffnen", "Beide öffnen", "Alle drei öffnen", else "Alle <n> öffnen".
    Q_INVOKABLE static QString openLabel(int count);
    // The first Monday 09:00 in local time strictly after now.
    static QDateTime nextMonday(const QDateTime &now);
    static QString remindLabel(const QDateTime &at);
    // "Gespeichert 03.11., nie gelesen." or "Gespeichert 03.11."
    static QString savedLine(const QDateTime &savedAt, bool read);

    QDateTime now() const;
    QString remindText() const;
    // card: a map of the chat model's "cards" role.
    Q_INVOKABLE QString savedText(const QVariantMap &card) const;
    Q_INVOKABLE void openCard(const QVariantMap &card);
    Q_INVOKABLE void openCards(const QVariantList &cards);
    // Every card's tab gets the same reminder, computed at the click.
    Q_INVOKABLE void remindCards(const QVariantList &cards);

Q_SIGNALS:
    void modelChanged();
    void nowChanged();

private:
    static QStringList idsOf(const QVariantList &cards);

    QPointer<AppModel> m_model;
    // The date in the reminder label moves on while the window stays open.
    QTimer m_minute;
};
