#include "platform/linux/settings/SettingsUserDefaults.h"
#include "support/WithoutSuperuser.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

using quillora::platform::SettingsUserDefaults;
using quillora::platform::UserDefaultsFailure;
using quillora::test::WithoutSuperuser;

/// What becomes of the settings file, whatever state it is found in.
class SettingsUserDefaultsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();

    void theUsersFileLiesInTheConfigurationFolder();
    void aValueReachesTheFileFromTheEventLoop();
    void theFileIsReplacedAsAWhole();
    void aFileThatCannotBeUnderstoodIsKeptAside_data();
    void aFileThatCannotBeUnderstoodIsKeptAside();
    void aSecondUnreadableFileDoesNotReplaceTheFirst();
    void aFolderInPlaceOfTheFileIsKeptAside();
    void aFileThatMayNotBeReadIsLeftAlone();
    void aFileThatCannotBeKeptAsideIsLeftAlone();
    void eachFailureIsTold_data();
    void eachFailureIsTold();
    void anObserverThatComesLaterIsToldToo();
    void whereNothingCanBeWrittenValuesStayInEffect();
    void twoProcessesKeepEachOthersKeys();
    void whatIsTypedIntoTheFileStaysAsItIs_data();
    void whatIsTypedIntoTheFileStaysAsItIs();

private:
    QString path() const { return m_folder->filePath(u"Quillora.conf"_s); }
    void write(const QByteArray &contents) const;
    static QByteArray read(const QString &path);

    std::unique_ptr<QTemporaryDir> m_folder;
};

void SettingsUserDefaultsTest::init() { m_folder = std::make_unique<QTemporaryDir>(); }

void SettingsUserDefaultsTest::write(const QByteArray &contents) const {
    QFile file(path());
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(contents);
}

QByteArray SettingsUserDefaultsTest::read(const QString &path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void SettingsUserDefaultsTest::theUsersFileLiesInTheConfigurationFolder() {
    const QByteArray before = qgetenv("XDG_CONFIG_HOME");
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(m_folder->path()));
    SettingsUserDefaults().setString(u"es"_s, u"targetLanguageIdentifier"_s);
    qputenv("XDG_CONFIG_HOME", before);
    QCOMPARE(read(m_folder->filePath(u"Quillora/Quillora.conf"_s)),
             "[General]\ntargetLanguageIdentifier=es\n");
}

void SettingsUserDefaultsTest::aValueReachesTheFileFromTheEventLoop() {
    SettingsUserDefaults defaults(path());
    defaults.setString(u"es"_s, u"targetLanguageIdentifier"_s);
    QTRY_COMPARE(read(path()), "[General]\ntargetLanguageIdentifier=es\n");
}

void SettingsUserDefaultsTest::theFileIsReplacedAsAWhole() {
    write("[General]\nhotKey=one\n");
    QFile before(path());
    QVERIFY(before.open(QIODevice::ReadOnly));
    SettingsUserDefaults(path()).setString(u"two"_s, u"hotKey"_s);
    QCOMPARE(before.readAll(), "[General]\nhotKey=one\n");
    QCOMPARE(read(path()), "[General]\nhotKey=two\n");
    QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files | QDir::Hidden), QStringList{u"Quillora.conf"_s});
}

void SettingsUserDefaultsTest::aFileThatCannotBeUnderstoodIsKeptAside_data() {
    QTest::addColumn<QByteArray>("contents");
    QTest::newRow("a line that is no setting") << QByteArray("[General]\nhotKey=49|2048\nrubbish\n");
    QTest::newRow("a section that does not end") << QByteArray("[Gener");
    QTest::newRow("binary") << QByteArray::fromHex("7f454c4602010100000000000000000003003e");
}

void SettingsUserDefaultsTest::aFileThatCannotBeUnderstoodIsKeptAside() {
    QFETCH(const QByteArray, contents);
    write(contents);
    {
        SettingsUserDefaults defaults(path());
        QCOMPARE(defaults.string(u"hotKey"_s), std::nullopt);
        defaults.setString(u"es"_s, u"targetLanguageIdentifier"_s);
    }
    QCOMPARE(read(path() + u".unreadable-1"_s), contents);
    QCOMPARE(SettingsUserDefaults(path()).string(u"targetLanguageIdentifier"_s), u"es"_s);
}

void SettingsUserDefaultsTest::aSecondUnreadableFileDoesNotReplaceTheFirst() {
    write("first\n");
    SettingsUserDefaults{path()};
    write("second\n");
    SettingsUserDefaults{path()};
    QCOMPARE(read(path() + u".unreadable-1"_s), "first\n");
    QCOMPARE(read(path() + u".unreadable-2"_s), "second\n");
}

void SettingsUserDefaultsTest::aFolderInPlaceOfTheFileIsKeptAside() {
    QVERIFY(QDir().mkpath(path()));
    SettingsUserDefaults(path()).setString(u"es"_s, u"targetLanguageIdentifier"_s);
    QVERIFY(QDir(path() + u".unreadable-1"_s).exists());
    QCOMPARE(SettingsUserDefaults(path()).string(u"targetLanguageIdentifier"_s), u"es"_s);
}

void SettingsUserDefaultsTest::aFileThatMayNotBeReadIsLeftAlone() {
    write("[General]\ntargetLanguageIdentifier=fr\n");
    const WithoutSuperuser ordinaryUser;
    QVERIFY(QFile::setPermissions(path(), {}));
    {
        SettingsUserDefaults defaults(path());
        QCOMPARE(defaults.string(u"targetLanguageIdentifier"_s), std::nullopt);
        defaults.setString(u"es"_s, u"targetLanguageIdentifier"_s);
        QCOMPARE(defaults.string(u"targetLanguageIdentifier"_s), u"es"_s);
        // Even if it can be read again meanwhile: what was set was set without knowing what stands there.
        QVERIFY(QFile::setPermissions(path(), QFile::ReadOwner | QFile::WriteOwner));
    }
    QCOMPARE(read(path()), "[General]\ntargetLanguageIdentifier=fr\n");
    QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files | QDir::Hidden), QStringList{u"Quillora.conf"_s});
}

void SettingsUserDefaultsTest::aFileThatCannotBeKeptAsideIsLeftAlone() {
    write("rubbish\n");
    const WithoutSuperuser ordinaryUser;
    QVERIFY(QFile::setPermissions(m_folder->path(), QFile::ReadOwner | QFile::ExeOwner));
    SettingsUserDefaults(path()).setString(u"es"_s, u"targetLanguageIdentifier"_s);
    QVERIFY(QFile::setPermissions(m_folder->path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    QCOMPARE(read(path()), "rubbish\n");
}

void SettingsUserDefaultsTest::eachFailureIsTold_data() {
    QTest::addColumn<QByteArray>("contents");
    QTest::addColumn<QFile::Permissions>("permissions");
    QTest::addColumn<UserDefaultsFailure>("failure");
    const QFile::Permissions everything = QFile::ReadOwner | QFile::WriteOwner;
    QTest::newRow("may not be read") << QByteArray("[General]\n") << QFile::Permissions()
                                     << UserDefaultsFailure::unreadable;
    QTest::newRow("may only be written") << QByteArray("[General]\n") << QFile::Permissions(QFile::WriteOwner)
                                         << UserDefaultsFailure::unreadable;
    QTest::newRow("cannot be understood")
        << QByteArray("rubbish\n") << everything << UserDefaultsFailure::setAside;
    QTest::newRow("may only be read") << QByteArray("[General]\n") << QFile::Permissions(QFile::ReadOwner)
                                      << UserDefaultsFailure::unwritable;
}

void SettingsUserDefaultsTest::eachFailureIsTold() {
    QFETCH(const QByteArray, contents);
    QFETCH(const QFile::Permissions, permissions);
    QFETCH(const UserDefaultsFailure, failure);
    write(contents);
    const WithoutSuperuser ordinaryUser;
    QVERIFY(QFile::setPermissions(path(), permissions));
    SettingsUserDefaults defaults(path());
    std::vector<UserDefaultsFailure> told;
    defaults.setFailureObserver([&](UserDefaultsFailure told_) { told.push_back(told_); });
    defaults.setString(u"es"_s, u"targetLanguageIdentifier"_s);
    QTRY_COMPARE(told.size(), 1u);
    QCOMPARE(told.front(), failure);
}

void SettingsUserDefaultsTest::anObserverThatComesLaterIsToldToo() {
    write("rubbish\n");
    SettingsUserDefaults defaults(path());
    for (int observer = 1; observer <= 2; ++observer) {
        std::vector<UserDefaultsFailure> told;
        defaults.setFailureObserver([&](UserDefaultsFailure failure) { told.push_back(failure); });
        QTRY_COMPARE(told, std::vector{UserDefaultsFailure::setAside});
        defaults.setFailureObserver({});
    }
}

void SettingsUserDefaultsTest::whereNothingCanBeWrittenValuesStayInEffect() {
    // No folder can be made below a file, whoever the user is.
    write("[General]\n");
    SettingsUserDefaults defaults(path() + u"/Quillora/Quillora.conf"_s);
    defaults.setString(u"es"_s, u"targetLanguageIdentifier"_s);
    QCoreApplication::processEvents();
    QCOMPARE(defaults.string(u"targetLanguageIdentifier"_s), u"es"_s);
}

void SettingsUserDefaultsTest::twoProcessesKeepEachOthersKeys() {
    // QSettings shares one store among all its objects of a path in a process; another path to the same file
    // stands for the other process.
    const QString linkPath = m_folder->filePath(u"link"_s);
    QVERIFY(QFile::link(m_folder->path(), linkPath));
    {
        SettingsUserDefaults one(path());
        SettingsUserDefaults other(linkPath + u"/Quillora.conf"_s);
        one.setString(u"1"_s, u"one"_s);
        other.setString(u"2"_s, u"other"_s);
    }
    SettingsUserDefaults after(path());
    QCOMPARE(after.string(u"one"_s), u"1"_s);
    QCOMPARE(after.string(u"other"_s), u"2"_s);
}

void SettingsUserDefaultsTest::whatIsTypedIntoTheFileStaysAsItIs_data() {
    QTest::addColumn<QString>("typed");
    QTest::newRow("a comma") << u"a,b"_s;
    QTest::newRow("a comma and a blank") << u"a, b"_s;
    QTest::newRow("a comma between blanks") << u"a ,  b"_s;
    QTest::newRow("a comma at the end") << u"http://127.0.0.1/v1/translate?a=1,2,"_s;
}

void SettingsUserDefaultsTest::whatIsTypedIntoTheFileStaysAsItIs() {
    QFETCH(const QString, typed);
    write("[Other]\nopenAIEndpointString=x,y\n[General]\nopenAIEndpointString=" + typed.toUtf8() + "\n");
    {
        SettingsUserDefaults defaults(path());
        QCOMPARE(defaults.string(u"openAIEndpointString"_s), typed);
        defaults.setString(u"es"_s, u"targetLanguageIdentifier"_s); // the file is written anew
    }
    QCOMPARE(SettingsUserDefaults(path()).string(u"openAIEndpointString"_s), typed);
}

QTEST_GUILESS_MAIN(SettingsUserDefaultsTest)
#include "SettingsUserDefaultsTest.moc"
