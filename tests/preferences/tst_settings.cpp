#include "preferences/settings.h"
#include "preferences/settingutilities.h"
#include "preferences/theme.h"

#include <QFont>
#include <QtTest>

#include <set>
#include <stdexcept>

// Owns one registry per test and frees its records, which copies never do.
struct RegistryGuard {
    Settings settings;
    ~RegistryGuard() { settings.clear(); }
};

class TestSettings : public QObject {
    Q_OBJECT

private slots:
    void registryShape();
    void fileTextRules_data();
    void fileTextRules();
    void fileTextRoundTrip();
    void typedGettersCheckTheDataType_data();
    void typedGettersCheckTheDataType();
    void copiesShareRecordsUnlessDeep();
    void duplicateNamesResolveToLaterRegistration();
    void displayStrings_data();
    void displayStrings();
    void enumTexts();
};

void TestSettings::registryShape() {
    RegistryGuard g;
    const auto& all = g.settings.getSettings();
    QCOMPARE(int(all.size()), kNumSettingTypes);

    std::set<int> types;
    int inFile = 0;
    for (const Setting* s : all) {
        types.insert(s->type);
        QCOMPARE(s->value, s->defaultValue);
        QVERIFY2(convertSettingDataTypeToString(s->dataType) != QLatin1String("Undefined"),
                 qPrintable(s->name));
        QVERIFY(s->setValueFromString);
        QVERIFY(s->getDisplayString);
        inFile += s->userEditable ? 1 : 0;
    }
    QCOMPARE(int(types.size()), kNumSettingTypes);
    // Seven file parameters and five show flags live elsewhere.
    QCOMPARE(inFile, kNumSettingTypes - 12);
    QVERIFY(std::is_sorted(all.begin(), all.end(), sortSettingByName));
    QCOMPARE(g.settings.get(TextEditor)->scope, Global);
    QCOMPARE(g.settings.get(HeaderRows)->scope, Table);
}

void TestSettings::fileTextRules_data() {
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QVariant>("expected");

    QTest::newRow("bool upper case with blank") << int(SaveAfterEachEdit) << "TRUE " << QVariant(true);
    QTest::newRow("bool false") << int(SnapToRow) << "false" << QVariant(false);
    QTest::newRow("bool yes gives default") << int(SnapToRow) << "yes" << QVariant(true);
    QTest::newRow("bool empty gives default") << int(ShadeEveryOtherRow) << "" << QVariant(false);
    QTest::newRow("positive 0 gives default") << int(DefaultRowHeight) << "0" << QVariant(24);
    QTest::newRow("positive negative kept") << int(DefaultRowHeight) << "-5" << QVariant(-5);
    QTest::newRow("positive junk gives default") << int(TextSize) << "big" << QVariant(12);
    QTest::newRow("positive number") << int(TextSize) << "15" << QVariant(15);
    QTest::newRow("non-negative negative kept") << int(BufferRows) << "-5" << QVariant(-5);
    QTest::newRow("non-negative junk") << int(BufferRows) << "x" << QVariant(2);
    QTest::newRow("non-negative zero") << int(HeaderRows) << "0" << QVariant(0);
    QTest::newRow("read-only size negative") << int(MinFileSizeReadOnlyQuery) << "-5" << QVariant(100);
    QTest::newRow("read-only size junk") << int(MinFileSizeReadOnlyQuery) << "abc" << QVariant(100);
    QTest::newRow("read-only size zero") << int(MinFileSizeReadOnlyQuery) << "0" << QVariant(0);
    QTest::newRow("index negative kept") << int(FirstRowIndex) << "-3" << QVariant(-3);
    QTest::newRow("index junk") << int(FirstColumnIndex) << "one" << QVariant(0);
    QTest::newRow("refresh exact") << int(RefreshBehaviorOption) << "ask"
                                   << QVariant(int(RefreshBehaviorAsk));
    QTest::newRow("refresh case matters")
        << int(RefreshBehaviorOption) << "Ignore" << QVariant(int(RefreshBehaviorRefresh));
    QTest::newRow("uuid long form") << int(UuidTypeOption) << "Time-ordered (v7)" << QVariant(int(UuidV7));
    QTest::newRow("uuid junk") << int(UuidTypeOption) << "v9" << QVariant(int(UuidV4));
    QTest::newRow("domain verbatim") << int(SearchEngine) << "example.org"
                                     << QVariant(QStringLiteral("example.org"));
    QTest::newRow("editor verbatim") << int(TextEditor) << "/usr/bin/vi"
                                     << QVariant(QStringLiteral("/usr/bin/vi"));
}

void TestSettings::fileTextRules() {
    QFETCH(int, type);
    QFETCH(QString, text);
    QFETCH(QVariant, expected);
    RegistryGuard g;
    Setting* s = g.settings.get(SettingType(type));
    s->setValueFromString(text);
    QCOMPARE(s->value.toString(), expected.toString());
}

// Whatever the file text converter writes, the setting's own rule must read back to the same
// value; this is what keeps the settings file stable across saves.
void TestSettings::fileTextRoundTrip() {
    RegistryGuard g;
    Settings& settings = g.settings;
    settings.setValue(TextSize, 17);
    settings.setValue(UuidTypeOption, int(UuidV7));
    settings.setValue(RefreshBehaviorOption, int(RefreshBehaviorIgnore));
    settings.setValue(FirstRowIndex, -1);
    settings.setValue(SnapToColumn, true);
    settings.get(FontFamily)->setValueFromString(QStringLiteral("Courier"));

    for (const Setting* s : settings.getSettings()) {
        if (!s->userEditable)
            continue;
        const QString text = settings.convertValueToStringForFile(s->type);
        RegistryGuard fresh;
        Setting* other = fresh.settings.get(s->type);
        other->setValueFromString(text);
        QCOMPARE(fresh.settings.convertValueToStringForFile(s->type), text);
    }
    QCOMPARE(settings.convertValueToStringForFile(UuidTypeOption), QStringLiteral("Time-ordered (v7)"));
    QCOMPARE(settings.convertValueToStringForFile(FontFamily), QStringLiteral("Courier"));
    QCOMPARE(settings.convertDefaultValueToStringForFile(FontFamily), QStringLiteral("Verdana"));
    QCOMPARE(settings.convertValueToStringForFile(RefreshBehaviorOption), QStringLiteral("ignore"));
    QCOMPARE(settings.convertValueToStringForFile(SnapToColumn), QStringLiteral("true"));
}

void TestSettings::typedGettersCheckTheDataType_data() {
    QTest::addColumn<int>("getter");
    QTest::addColumn<int>("type");
    QTest::addColumn<bool>("throws");
    // getter: 0 bool, 1 int, 2 float, 3 string, 4 refresh, 5 line ending, 6 encoding, 7 parsing
    QTest::newRow("int on font") << 1 << int(FontFamily) << true;
    QTest::newRow("string on font") << 3 << int(FontFamily) << false;
    QTest::newRow("bool on bool") << 0 << int(ReadOnly) << false;
    QTest::newRow("bool on int") << 0 << int(TextSize) << true;
    QTest::newRow("int on each int kind") << 1 << int(FirstRowIndex) << false;
    QTest::newRow("float on int") << 2 << int(TextSize) << true;
    QTest::newRow("string on domain") << 3 << int(SearchEngine) << false;
    QTest::newRow("string on encoding") << 3 << int(EncodingLoad) << true;
    QTest::newRow("refresh") << 4 << int(RefreshBehaviorOption) << false;
    QTest::newRow("line ending") << 5 << int(LineEndingSave) << false;
    QTest::newRow("line ending on parsing") << 5 << int(ParsingStandardSave) << true;
    QTest::newRow("encoding") << 6 << int(EncodingSave) << false;
    QTest::newRow("parsing") << 7 << int(ParsingStandardLoad) << false;
}

void TestSettings::typedGettersCheckTheDataType() {
    QFETCH(int, getter);
    QFETCH(int, type);
    QFETCH(bool, throws);
    RegistryGuard g;
    const Settings& s = g.settings;
    const SettingType t = SettingType(type);
    try {
        switch (getter) {
        case 0:
            s.getValueBool(t);
            break;
        case 1:
            s.getValueInt(t);
            break;
        case 2:
            s.getValueFloat(t);
            break;
        case 3:
            s.getValueString(t);
            break;
        case 4:
            s.getValueRefreshBehavior(t);
            break;
        case 5:
            s.getValueLineEnding(t);
            break;
        case 6:
            s.getValueEncoding(t);
            break;
        case 7:
            s.getValueParsingStandard(t);
            break;
        }
        QVERIFY(!throws);
    } catch (const std::runtime_error& e) {
        QVERIFY(throws);
        QCOMPARE(QString::fromLatin1(e.what()), QStringLiteral("Invalid type"));
    }
}

void TestSettings::copiesShareRecordsUnlessDeep() {
    RegistryGuard g;
    Settings a = g.settings;
    Settings b = a;
    Settings deep = a.copySettings();
    a.setValue(TextSize, 30);
    deep.setValue(MinTableRows, 7);
    const Settings deepAfter = a.copySettings(); // copies the values as they are now

    b.toggleBoolValue(ShowTabBar);
    QCOMPARE(a.getValueBool(ShowTabBar), false);
    QCOMPARE(g.settings.getValueBool(ShowTabBar), false);
    QCOMPARE(deep.getValueBool(ShowTabBar), true);
    QCOMPARE(deep.getValueInt(TextSize), 12);
    QCOMPARE(a.getValueInt(MinTableRows), 50);
    QCOMPARE(deepAfter.getValueInt(TextSize), 30);
    QCOMPARE(deepAfter.getValueBool(ShowTabBar), true);
    QVERIFY_THROWS_EXCEPTION(std::runtime_error, a.toggleBoolValue(TextSize));

    deep.clear();
    Settings(deepAfter).clear();
}

void TestSettings::duplicateNamesResolveToLaterRegistration() {
    RegistryGuard g;
    QCOMPARE(g.settings.find(QStringLiteral("Delimiter"))->type, DelimiterSave);
    QCOMPARE(g.settings.find(QStringLiteral("Encoding"))->type, EncodingSave);
    QVERIFY(!g.settings.find(QStringLiteral("Delimiter"))->userEditable);
    QVERIFY(!g.settings.contains(QStringLiteral("delimiter")));
    QVERIFY(g.settings.find(QStringLiteral("nothing")) == nullptr);
}

void TestSettings::displayStrings_data() {
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("display");
    QTest::newRow("bool") << int(SnapToRow) << "Enabled";
    QTest::newRow("bool off") << int(SnapToColumn) << "Disabled";
    QTest::newRow("refresh") << int(RefreshBehaviorOption) << "Refresh";
    QTest::newRow("int") << int(MaxAutoFitColumnWidth) << "800";
    QTest::newRow("uuid") << int(UuidTypeOption) << "Random (v4)";
    QTest::newRow("domain") << int(OnlineMap) << "duckduckgo.com";
}

void TestSettings::displayStrings() {
    QFETCH(int, type);
    QFETCH(QString, display);
    RegistryGuard g;
    QCOMPARE(g.settings.get(SettingType(type))->getDisplayString(), display);
}

void TestSettings::enumTexts() {
    QCOMPARE(convertSettingDataTypeToString(SettingDataType(16)), QStringLiteral("Undefined"));
    QCOMPARE(convertSettingDataTypeToString(Refresh), QStringLiteral("refresh|ignore|ask"));
    QCOMPARE(Utilities::convertScopeToString(ScopeType(7)), QStringLiteral("Invalid"));
    QCOMPARE(Utilities::convertRefreshBehaviorTypeToString(RefreshBehavior(9), false),
             QStringLiteral("Invalid"));
    QCOMPARE(Utilities::convertRefreshBehaviorStringToType(QStringLiteral("Ask")), RefreshBehaviorInvalid);
    QCOMPARE(Utilities::convertUuidStringToType(QStringLiteral("  RANDOM "), UuidV7), UuidV4);
    QCOMPARE(Utilities::convertUuidStringToType(QStringLiteral("ordered"), UuidV4), UuidV7);
    QCOMPARE(Utilities::getSearchEngineOptions().size(), 4);
    QCOMPARE(Utilities::getOnlineMapOptions().size(), 3);
}

QTEST_MAIN(TestSettings)
#include "tst_settings.moc"
