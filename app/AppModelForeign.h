#pragma once

#include <QObject>
#include <QtQml/qqml.h>

#include "AppModel.h"

class QJSEngine;
class QQmlEngine;

// Makes the application's one model the QML singleton `AppModel`. The model
// lives in a Qt Core library, so it is registered from here; whoever creates
// it hands it over before the first view loads.
struct AppModelForeign
{
    Q_GADGET
    QML_FOREIGN(AppModel)
    QML_NAMED_ELEMENT(AppModel)
    QML_SINGLETON

public:
    static void setInstance(AppModel *model);
    static AppModel *instance();
    static AppModel *create(QQmlEngine *engine, QJSEngine *scriptEngine);
};
