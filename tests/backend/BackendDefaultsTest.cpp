#include "backend/Configuration.h"
#include "backend/Prompt.h"

#include <QTest>

using namespace quillora::backend;

namespace {

using Variables = std::map<std::string, std::string>;

const Variables required{{"QUILLORA_BACKEND_UPSTREAM_URL", "http://localhost:8080/v1/chat/completions"},
                         {"QUILLORA_BACKEND_UPSTREAM_MODEL", "some-model"}};

} // namespace

/// What the backend does where nobody told it otherwise.
class BackendDefaultsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void whatNobodySetHasItsStandardValue() {
        const auto c = Configuration::load({}, required);
        QCOMPARE(c.listen.text(), std::string("127.0.0.1:8787"));
        QCOMPARE(c.certificateFile, std::string());
        QCOMPARE(c.privateKeyFile, std::string());
        QCOMPARE(c.connectionLimit, 10000U);
        QCOMPARE(c.stopPatience.count(), 45);
        QCOMPARE(c.upstreamKey, std::string());
        QCOMPARE(c.authoritiesFile, std::string());
        QCOMPARE(c.patience.count(), 40);
        QCOMPARE(c.runningLimit, 64U);
        QCOMPARE(c.tokenFile, std::string());
        QCOMPARE(c.devicePerMinute, 60U);
        QCOMPARE(c.tokenPerMinute, 600U);
        QCOMPARE(c.waitingLimit, 1000U);
        QCOMPARE(c.textLimit, 20000U);
        QCOMPARE(c.targets,
                 (std::vector<std::string>{
                     "Russian", "English", "Kazakh",     "Uzbek",  "Kyrgyz",     "Arabic",    "Chinese",
                     "Dutch",   "Spanish", "French",     "German", "Indonesian", "Italian",   "Japanese",
                     "Korean",  "Polish",  "Portuguese", "Thai",   "Turkish",    "Ukrainian", "Vietnamese"}));
        QCOMPARE(c.prompt, standardPrompt());
        QCOMPARE(c.redis.host, std::string());
        QCOMPARE(c.redisPassword, std::string());
        QCOMPARE(c.redisPrefix, std::string("quillora"));
    }

    void theHelpTellsTheStandardValues() {
        const auto help = Configuration::help();
        for (const std::string value : {"listen = HOST:PORT|(127.0.0.1:8787)",
                                        "certificate = FILE|(none)",
                                        "private_key = FILE|(none)",
                                        "connections = NUMBER|(10000)",
                                        "stop_seconds = NUMBER|(45)",
                                        "url = URL|(none, required)",
                                        "model = NAME|(none, required)",
                                        "key_file = FILE|(none)",
                                        "authorities = FILE|(the system's)",
                                        "seconds = NUMBER|(40)",
                                        "at_once = NUMBER|(64)",
                                        "file = FILE|(none)",
                                        "device_per_minute = NUMBER|(60)",
                                        "token_per_minute = NUMBER|(600)",
                                        "waiting = NUMBER|(1000)",
                                        "text_characters = NUMBER|(20000)",
                                        "targets = [NAMES]|(the 21 of the panel)",
                                        "prompt = TEXT|(see the manual)",
                                        "address = HOST:PORT|(none)",
                                        "password_file = FILE|(none)",
                                        "prefix = NAME|(quillora)"}) {
            const auto bar = value.find('|');
            const auto key = help.find("\n  " + value.substr(0, bar) + "\n");
            QVERIFY2(key != std::string::npos, value.c_str());
            const auto meaning = help.find('\n', key + 1) + 1;
            const auto line = help.substr(meaning, help.find('\n', meaning) - meaning);
            QVERIFY2(line.ends_with(" " + value.substr(bar + 1)), line.c_str());
        }
    }
};

QTEST_GUILESS_MAIN(BackendDefaultsTest)
#include "BackendDefaultsTest.moc"
