#pragma once

#include <QString>
#include <QUrl>
#include <QVersionNumber>
#include <qcoro/qcorotask.h>

#include <expected>

// The newest version the update feed announces.
struct UpdateOffer {
    QVersionNumber version;
    // Where the user downloads it (an https address).
    QUrl page;
    // What changed, in a few lines; may be empty.
    QString notes;
};

// Where the application learns of new versions: a small signed document fetched over the network.
// Main thread; a fetch never blocks it.
class UpdateFeed
{
public:
    virtual ~UpdateFeed() = default;

    // The host that is asked, for the settings window's caption; empty when this build has no feed,
    // and then nothing is ever fetched.
    virtual QString host() const = 0;

    // Fetches the feed and checks its signature. A failure carries a message for the user.
    virtual QCoro::Task<std::expected<UpdateOffer, QString>> fetch() = 0;
};
