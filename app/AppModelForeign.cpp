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
    // A view loaded before the model exists is a wiring mistake, not a user problem.
    Q_ASSERT(model);
    if (model)
        QJSEngine::setObjectOwnership(model, QJSEngine::CppOwnership);
    return model;
}
