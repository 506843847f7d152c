#pragma once

#include "platform/UpdateFeed.h"

#include <QFuture>
#include <QPromise>
#include <qcoro/qcorofuture.h>

#include <memory>

// An update feed that answers `answer`; with `holds` set, each fetch waits until `release()`.
class FakeUpdateFeed final : public UpdateFeed
{
public:
    std::expected<UpdateOffer, QString> answer = std::unexpected(QStringLiteral("unreachable"));
    bool holds = false;
    int fetches = 0;

    QString host() const override { return QStringLiteral("updates.example.org"); }
    QCoro::Task<std::expected<UpdateOffer, QString>> fetch() override
    {
        ++fetches;
        if (holds) {
            gate = std::make_shared<QPromise<void>>();
            gate->start();
            QFuture<void> opened = gate->future();
            co_await opened;
        }
        // The task moves from what it is given: a copy keeps the answer for the next fetch.
        std::expected<UpdateOffer, QString> reply = answer;
        co_return reply;
    }
    void release()
    {
        if (gate)
            gate->finish();
    }

private:
    std::shared_ptr<QPromise<void>> gate;
};
