#include "AppModelForeign.h"

#include <QPointer>
#include <QQmlEngine>

namespace {

QPointer<AppModel> &current()
{
    static QPointer<AppModel> model;
    return model;
}

} // namespace

void AppModelForeign::setInstance(AppModel *model)
{
    current() = model;
}

AppModel *AppModelForeign::instance()
{
    return current().data();
}

AppModel *AppModelForeign::create(QQmlEngine *engine, QJSEngine *scriptEngine)
{
    Q_UNUSED(engine);
    Q_UNUSED(scriptEngine);
    AppModel *model = current().data();
    // A view loaded before the model exists is a wiring mistake; say so
    // instead of leaving only "undefined" errors from the view's bindings.
    if (!model) {
        qWarning("AppModel: a view was loaded before the application model was handed over");
        return nullptr;
    }
    QJSEngine::setObjectOwnership(model, QJSEngine::CppOwnership);
    return model;
}
