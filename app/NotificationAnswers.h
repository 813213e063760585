#pragma once

#include "Clock.h"
#include "NotificationRequest.h"

class AppModel;

// Turns the user's answer to a reminder or hint notification into an
// operation of the model.
namespace NotificationAnswers {

enum class Outcome {
    Ignored,    // no tab id, a malformed one, or the tab is gone
    Dismissed,  // "DISMISS": the tab's hint is dismissed
    Later,      // "LATER": reminder tomorrow 09:00
    Opened,     // "OPEN": the tab is opened in the browser
    ShowDetail, // a click on the notification itself: the caller shows the library
};

Outcome apply(AppModel &model, const NotificationAnswer &answer, const Clock &clock);

} // namespace NotificationAnswers
