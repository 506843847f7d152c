#include "platform/linux/JournalLog.h"

#include <QTemporaryFile>

#include <gtest/gtest.h>

#include <cstdio>
#include <unistd.h>

using namespace Qt::Literals::StringLiterals;

namespace {

// Sends file descriptor 2 into a temporary file while it lives; `text()` ends the capture.
class StandardErrorCapture
{
public:
    StandardErrorCapture()
    {
        EXPECT_TRUE(file.open());
        std::fflush(stderr);
        saved = dup(STDERR_FILENO);
        dup2(file.handle(), STDERR_FILENO);
    }
    ~StandardErrorCapture() { restore(); }

    QByteArray text()
    {
        restore();
        file.seek(0);
        return file.readAll();
    }

private:
    void restore()
    {
        if (saved < 0)
            return;
        std::fflush(stderr);
        dup2(saved, STDERR_FILENO);
        close(saved);
        saved = -1;
    }

    QTemporaryFile file;
    int saved = -1;
};

TEST(JournalLog, WithoutJournaldWritesOneLinePerMessageToStandardError)
{
    struct Case {
        const char *name;
        QString category;
        Log::Level level;
        QString message;
        QByteArray line;
    };
    const Case cases[] = {
        {"info", u"timing"_s, Log::Level::info, u"recording 1.25 s"_s, "sorawen [timing] recording 1.25 s\n"},
        {"error", u"paste"_s, Log::Level::error, u"no focused field"_s, "sorawen [paste] no focused field\n"},
        {"Japanese in UTF-8", u"history"_s, Log::Level::error, u"履歴を保存できません"_s,
            "sorawen [history] 履歴を保存できません\n"},
        {"line breaks become spaces", u"audio"_s, Log::Level::info, u"first\nsecond\r\nthird"_s,
            "sorawen [audio] first second  third\n"},
        {"placeholders stay as written", u"keys"_s, Log::Level::info, u"%1 and %2"_s, "sorawen [keys] %1 and %2\n"},
    };
    JournalLog log(u"/nonexistent/journal/socket"_s);
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        StandardErrorCapture capture;
        log.write(c.category, c.level, c.message);
        EXPECT_EQ(capture.text(), c.line);
    }
}

} // namespace
