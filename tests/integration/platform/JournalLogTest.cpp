#include "platform/linux/JournalLog.h"

#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

namespace {

TEST(JournalLog, WithoutJournaldWritesOneLinePerMessageToStandardError)
{
    struct Case {
        const char *name;
        QString message;
        std::string line;
    };
    const Case cases[] = {
        {"Japanese in UTF-8", u"履歴を保存できません"_s, "sorawen [history] 履歴を保存できません\n"},
        {"line breaks become spaces", u"first\nsecond\r\nthird"_s, "sorawen [history] first second  third\n"},
        {"placeholders stay as written", u"%1 and %2"_s, "sorawen [history] %1 and %2\n"},
    };
    JournalLog log(u"/nonexistent/journal/socket"_s);
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        ::testing::internal::CaptureStderr();
        log.write(u"history"_s, Log::Level::error, c.message);
        EXPECT_EQ(::testing::internal::GetCapturedStderr(), c.line);
    }
}

} // namespace
