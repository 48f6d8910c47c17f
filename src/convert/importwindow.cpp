#include "convert/importwindow.h"

#include "convert/conversion.h"
#include "convert/fileimportwidget.h"
#include "convert/jsoncontainer.h"
#include "convert/openurldialog.h"
#include "preferences/preferencefiles.h"
#include "table/tablemodel.h"
#include "table/tablemodelworker.h"
#include "util/fileparameterutilities.h"
#include "util/msgbox.h"
#include "view/workerprogress.h"
#include "window/filedialoghelper.h"

#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QCloseEvent>
#include <QComboBox>
#include <QDir>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFile>
#include <QFileInfo>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMetaEnum>
#include <QMimeData>
#include <QNetworkAccessManager>
#include <QNetworkRequest>
#include <QPushButton>
#include <QScopeGuard>
#include <QShortcut>
#include <QStackedWidget>
#include <QStringDecoder>
#include <QTabWidget>
#include <QUrl>
#include <QVBoxLayout>

namespace {

const QString kWindowTitle = QStringLiteral("Import from JSON or XML");
const QString kWindows = QStringLiteral("Windows (CR LF)");
const QString kUnix = QStringLiteral("Mac/Linux (LF)");
const QString kRecordSeparator = QStringLiteral("Record Separator");
// A fetch that exchanges nothing for this long ends with an error.
constexpr int kTransferTimeoutMs = 30000;
// From this many characters of sources the conversion runs on the worker, with progress.
constexpr qint64 kImportCharsOnWorker = 262144;

// The text of a document's bytes: UTF-8 unless a byte order mark tells otherwise.
QString decodeDocument(const QByteArray& bytes) {
    const auto found = QStringConverter::encodingForData(bytes);
    QStringDecoder decoder(found.value_or(QStringConverter::Utf8));
    QString text = decoder(bytes);
    if (text.startsWith(QChar(0xFEFF)))
        text.remove(0, 1);
    return text;
}

// Reads a file's text, at most `maxChars` characters of it (-1: all); `more` tells whether the
// file holds more than was read. False when the file can't be read.
bool readDocument(const QString& path, qsizetype maxChars, QString& text, bool& more) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    if (maxChars < 0) {
        const QByteArray bytes = file.readAll();
        if (file.error() != QFileDevice::NoError)
            return false;
        text = decodeDocument(bytes);
        more = false;
        return true;
    }
    // No character takes more than four bytes, and a byte order mark needs four more.
    const qint64 limit = qint64(maxChars) * 4 + 4;
    const QByteArray bytes = file.read(limit);
    if (file.error() != QFileDevice::NoError)
        return false;
    text = decodeDocument(bytes);
    more = !file.atEnd() || text.size() > maxChars;
    if (text.size() > maxChars)
        text.truncate(maxChars);
    return true;
}

// The one character a delimiter text stands for ("tab", "space", ","...), or empty when it names
// none ("(auto)", "(none)", a word).
QString writableDelimiter(const QString& text) {
    const QString delimiter = PreferenceFiles::convertDelimiterFromFile(text);
    return delimiter.size() == 1 ? delimiter : QString();
}

QStringList delimiterChoices() {
    return {QStringLiteral(","), QStringLiteral("tab"),   QStringLiteral(";"),
            QStringLiteral("|"), QStringLiteral("space"), QStringLiteral("unit separator")};
}

QString lineEndingText(LineEndingType type) {
    switch (type) {
    case LINE_ENDING_WINDOWS:
        return kWindows;
    case LINE_ENDING_RECORD_SEPARATOR:
        return kRecordSeparator;
    default:
        return kUnix;
    }
}

QString displayPaths(const QStringList& paths) {
    QStringList shown;
    for (const QString& path : paths)
        shown.append(QDir::toNativeSeparators(path));
    return shown.join(QLatin1Char('\n'));
}

} // namespace

ImportWindow::ImportWindow(const Settings& settings, const QString& startFolder,
                           std::vector<ExtensionData> extensions, QWidget* parent)
    : QWidget(parent, Qt::Window), settings(settings), extensions(std::move(extensions)) {
    setup();
    setSaveFolder(startFolder.isEmpty() ? QDir::homePath() : startFolder);
}

ImportWindow::~ImportWindow() {
    if (reply)
        reply->abort();
}

void ImportWindow::setup() {
    setObjectName(QStringLiteral("importWindow"));
    setWindowTitle(kWindowTitle);
    setAcceptDrops(true);
    resize(1100, 720);
    network = new QNetworkAccessManager(this);

    // Sources: the buttons, and under them the tabs, or the place to drop files while none is open.
    auto* sourceGroup = new QGroupBox(QStringLiteral("Import From"), this);
    auto* sourceLayout = new QVBoxLayout(sourceGroup);
    auto* buttons = new QHBoxLayout;
    auto* localButton = new QPushButton(QStringLiteral("Local Files"), sourceGroup);
    localButton->setObjectName(QStringLiteral("localFilesButton"));
    auto* clipboardButton = new QPushButton(QStringLiteral("Clipboard"), sourceGroup);
    clipboardButton->setObjectName(QStringLiteral("clipboardButton"));
    auto* urlButton = new QPushButton(QStringLiteral("URL"), sourceGroup);
    urlButton->setObjectName(QStringLiteral("urlButton"));
    for (QPushButton* button : {localButton, clipboardButton, urlButton}) {
        button->setAutoDefault(false);
        buttons->addWidget(button);
    }
    buttons->addStretch(1);
    fetchLabel = new QLabel(sourceGroup);
    fetchLabel->hide();
    buttons->addWidget(fetchLabel);
    sourceLayout->addLayout(buttons);
    sourceStack = new QStackedWidget(sourceGroup);
    auto* dropLabel = new QLabel(QStringLiteral("Drag and drop\nfiles here."), sourceStack);
    dropLabel->setAlignment(Qt::AlignCenter);
    QFont dropFont = dropLabel->font();
    dropFont.setPointSizeF(dropFont.pointSizeF() * 1.6);
    dropLabel->setFont(dropFont);
    dropLabel->setEnabled(false);
    sourceStack->addWidget(dropLabel);
    tabs = new QTabWidget(sourceStack);
    tabs->setTabsClosable(true);
    tabs->setDocumentMode(true);
    tabs->setElideMode(Qt::ElideMiddle);
    sourceStack->addWidget(tabs);
    sourceLayout->addWidget(sourceStack, 1);
    connect(localButton, &QPushButton::clicked, this, &ImportWindow::openLocalFilesQuery);
    connect(clipboardButton, &QPushButton::clicked, this, &ImportWindow::openByClipboardContents);
    connect(urlButton, &QPushButton::clicked, this, &ImportWindow::openUrlDialog);
    connect(tabs, &QTabWidget::tabCloseRequested, this, &ImportWindow::closeTab);
    auto* closeTabKey = new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_W), this);
    connect(closeTabKey, &QShortcut::activated, this, [this] {
        if (tabs->count() > 0)
            closeTab(tabs->currentIndex());
    });

    // Where the tables go.
    auto* saveGroup = new QGroupBox(QStringLiteral("Save To"), this);
    auto* saveLayout = new QVBoxLayout(saveGroup);
    auto* folderRow = new QHBoxLayout;
    folderEdit = new QLineEdit(saveGroup);
    folderEdit->setObjectName(QStringLiteral("folderEdit"));
    auto* browseButton = new QPushButton(QStringLiteral("Browse"), saveGroup);
    browseButton->setAutoDefault(false);
    folderRow->addWidget(folderEdit, 1);
    folderRow->addWidget(browseButton);
    saveLayout->addLayout(folderRow);
    saveLocalCheck = new QCheckBox(QStringLiteral("Save Local Files to Originating Directory"), saveGroup);
    saveLocalCheck->setObjectName(QStringLiteral("saveLocalCheck"));
    saveLayout->addWidget(saveLocalCheck);
    connect(folderEdit, &QLineEdit::textChanged, this, &ImportWindow::onSaveDirChanged);
    connect(browseButton, &QPushButton::clicked, this, [this] {
        const QString folder = FileDialogHelper::getExistingDirectory(
            this, QStringLiteral("Select Folder"), QDir::fromNativeSeparators(folderEdit->text()));
        if (!folder.isEmpty())
            setSaveFolder(folder);
    });
    connect(saveLocalCheck, &QCheckBox::toggled, this, &ImportWindow::updatePathFieldDisplay);

    // What the tables are like.
    auto* parameterGroup = new QGroupBox(QStringLiteral("Table Parameters"), this);
    auto* parameterForm = new QFormLayout(parameterGroup);
    extensionCombo = new QComboBox(parameterGroup);
    extensionCombo->setObjectName(QStringLiteral("extensionCombo"));
    extensionCombo->setEditable(true);
    for (const ExtensionData& data : extensions) {
        if (!data.extension.isEmpty() && data.extension != QLatin1String("(none)") &&
            extensionCombo->findText(data.extension) < 0)
            extensionCombo->addItem(data.extension);
    }
    delimiterCombo = new QComboBox(parameterGroup);
    delimiterCombo->setObjectName(QStringLiteral("delimiterCombo"));
    delimiterCombo->setEditable(true);
    delimiterCombo->addItems(delimiterChoices());
    lineEndingCombo = new QComboBox(parameterGroup);
    lineEndingCombo->addItems({kWindows, kUnix, kRecordSeparator});
    encodingCombo = new QComboBox(parameterGroup);
    for (int type = 0; type < kNumEncodingTypes; ++type) {
        const QString name = Utilities::convertEncodingTypeToString(static_cast<EncodingType>(type));
        if (encodingCombo->findText(name) < 0)
            encodingCombo->addItem(name);
    }
    standardCombo = new QComboBox(parameterGroup);
    for (ParsingStandard standard :
         {RFC_4180, DELIMITER_ONLY, ALL_QUOTES, SPARSE_QUOTES, ASCII_SEPARATED_VALUES})
        standardCombo->addItem(Utilities::convertParsingStandardToString(standard));
    parameterForm->addRow(QStringLiteral("Extension:"), extensionCombo);
    parameterForm->addRow(QStringLiteral("Delimiter:"), delimiterCombo);
    parameterForm->addRow(QStringLiteral("Line Ending:"), lineEndingCombo);
    parameterForm->addRow(QStringLiteral("Encoding:"), encodingCombo);
    parameterForm->addRow(QStringLiteral("Parsing Standard:"), standardCombo);
    connect(extensionCombo, &QComboBox::currentTextChanged, this, &ImportWindow::onExtensionComboChanged);

    auto* optionGroup = new QGroupBox(QStringLiteral("Import Options"), this);
    auto* optionLayout = new QVBoxLayout(optionGroup);
    openAfterCheck = new QCheckBox(QStringLiteral("Open Files After Importing"), optionGroup);
    preserveCheck = new QCheckBox(QStringLiteral("Preserve Original File Structure"), optionGroup);
    optionLayout->addWidget(openAfterCheck);
    optionLayout->addWidget(preserveCheck);

    importButton = new QPushButton(QStringLiteral("Import"), this);
    importButton->setObjectName(QStringLiteral("importButton"));
    importButton->setDefault(true);
    importButton->setEnabled(false);
    auto* closeButton = new QPushButton(QStringLiteral("Close"), this);
    closeButton->setAutoDefault(false);
    connect(importButton, &QPushButton::clicked, this, &ImportWindow::importFiles);
    connect(closeButton, &QPushButton::clicked, this, &QWidget::close);

    auto* side = new QVBoxLayout;
    side->addWidget(saveGroup);
    side->addWidget(parameterGroup);
    side->addWidget(optionGroup);
    side->addStretch(1);
    auto* bottom = new QHBoxLayout;
    bottom->addStretch(1);
    bottom->addWidget(closeButton);
    bottom->addWidget(importButton);
    side->addLayout(bottom);
    auto* sideWidget = new QWidget(this);
    sideWidget->setLayout(side);
    sideWidget->setFixedWidth(380);

    auto* layout = new QHBoxLayout(this);
    layout->addWidget(sourceGroup, 1);
    layout->addWidget(sideWidget);

    fillParameterCombos(ExtensionData{QStringLiteral("csv")});
}

// --- Settings ---------------------------------------------------------------------------------

void ImportWindow::propagateSettings(const Settings& newSettings) {
    settings = newSettings;
    setTheme(settings.getTheme());
}

void ImportWindow::setTheme(const Theme& theme) {
    for (int i = 0; i < tabs->count(); ++i)
        tabAt(i)->setTheme(theme);
}

void ImportWindow::setDefaultOptions(const ExtensionData& data, bool saveLocalInOriginatingDir,
                                     bool openFilesAfterImport, bool preserveStructure) {
    ExtensionData shown = data;
    // A table file needs an extension to be opened as one: the first of the table, as a start.
    if (shown.extension.isEmpty())
        shown.extension = QStringLiteral("csv");
    fillParameterCombos(shown);
    saveLocalCheck->setChecked(saveLocalInOriginatingDir);
    openAfterCheck->setChecked(openFilesAfterImport);
    preserveCheck->setChecked(preserveStructure);
    updatePathFieldDisplay();
}

void ImportWindow::fillParameterCombos(const ExtensionData& data) {
    {
        const QSignalBlocker block(extensionCombo);
        extensionCombo->setCurrentText(data.extension);
    }
    // A table file is written with one character between fields: "(auto)" and "(none)" of the
    // extension table give way to the read delimiter, or the comma.
    QString delimiter = writableDelimiter(data.saveDelimiter);
    if (delimiter.isEmpty())
        delimiter = writableDelimiter(data.delimiter);
    delimiterCombo->setCurrentText(
        PreferenceFiles::convertDelimiterToUserString(delimiter.isEmpty() ? QStringLiteral(",") : delimiter));
    lineEndingCombo->setCurrentText(lineEndingText(data.lineEnding));
    encodingCombo->setCurrentText(Utilities::convertEncodingTypeToString(data.encoding));
    const ParsingStandard standard =
        data.parsingStandard == UNKNOWN_STANDARD ? RFC_4180 : data.parsingStandard;
    standardCombo->setCurrentText(Utilities::convertParsingStandardToString(standard));
}

ExtensionData ImportWindow::getFileParameters() const {
    ExtensionData data;
    QString extension = extensionCombo->currentText().trimmed().toLower();
    while (extension.startsWith(QLatin1Char('.')))
        extension.remove(0, 1);
    data.extension = extension.isEmpty() ? QStringLiteral("csv") : extension;
    QString delimiter = writableDelimiter(delimiterCombo->currentText().trimmed());
    if (delimiter.isEmpty())
        delimiter = QStringLiteral(",");
    data.delimiter = delimiter;
    data.saveDelimiter = delimiter;
    const QString ending = lineEndingCombo->currentText();
    data.lineEnding = ending == kWindows           ? LINE_ENDING_WINDOWS
                      : ending == kRecordSeparator ? LINE_ENDING_RECORD_SEPARATOR
                                                   : LINE_ENDING_UNIX;
    data.encoding = Utilities::convertEncodingStringToType(encodingCombo->currentText());
    data.parsingStandard = Utilities::convertParsingStringToStandard(standardCombo->currentText());
    return data;
}

void ImportWindow::onExtensionComboChanged() {
    // An extension of the extension table brings its parameters with it.
    const QString extension = extensionCombo->currentText().trimmed().toLower();
    const auto row =
        std::find_if(extensions.begin(), extensions.end(),
                     [&extension](const ExtensionData& data) { return data.extension == extension; });
    if (row != extensions.end())
        fillParameterCombos(*row);
    updatePathFieldDisplay();
}

void ImportWindow::onSaveDirChanged() {
    updatePathFieldDisplay();
}

void ImportWindow::setSaveFolder(const QString& folder) {
    folderEdit->setText(QDir::toNativeSeparators(folder));
}

bool ImportWindow::getSaveLocalToOriginating() const {
    return saveLocalCheck->isChecked();
}

bool ImportWindow::getOpenFilesAfterImporting() const {
    return openAfterCheck->isChecked();
}

bool ImportWindow::getPreserveStructure() const {
    return preserveCheck->isChecked();
}

// --- Type tests -------------------------------------------------------------------------------

FileType ImportWindow::getFileType(const QString& path) {
    const QString suffix = QFileInfo(path).suffix().toLower();
    if (suffix == QLatin1String("json"))
        return FILE_TYPE_JSON;
    if (suffix == QLatin1String("xml"))
        return FILE_TYPE_XML;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return FILE_TYPE_NEITHER;
    return getFileTypeFromString(QString::fromUtf8(file.read(kTypeSampleBytes)));
}

FileType ImportWindow::getFileType(const QString& path, const QString& contents) {
    const QString suffix = QFileInfo(path).suffix().toLower();
    if (suffix == QLatin1String("json"))
        return FILE_TYPE_JSON;
    if (suffix == QLatin1String("xml"))
        return FILE_TYPE_XML;
    return getFileTypeFromString(contents.left(kTypeSampleBytes));
}

FileType ImportWindow::getFileTypeFromString(const QString& text) {
    // One item is enough: a sample cut short still starts its object or array.
    JsonContainer document(text);
    document.parse(1);
    const JsonItem* root = document.root();
    if (root && (root->type == JsonItem::OBJECT || root->type == JsonItem::ARRAY))
        return FILE_TYPE_JSON;
    return !text.isEmpty() && text.front() == u'<' ? FILE_TYPE_XML : FILE_TYPE_NEITHER;
}

QString ImportWindow::fileTypeWord(FileType type) {
    return type == FILE_TYPE_XML ? QStringLiteral("XML") : QStringLiteral("JSON");
}

// --- Sources ----------------------------------------------------------------------------------

bool ImportWindow::openFile(const QString& path) {
    QString text;
    bool more = false;
    if (path.isEmpty() || !QFileInfo(path).isFile() || !readDocument(path, kPreviewChars, text, more))
        return false;
    createTab(text, SOURCE_LOCAL_FILE, QDir::cleanPath(QFileInfo(path).absoluteFilePath()), more);
    return true;
}

void ImportWindow::openFiles(const QList<QString>& paths) {
    QStringList unread;
    for (const QString& path : paths) {
        if (!openFile(path))
            unread.append(QDir::toNativeSeparators(QFileInfo(path).absoluteFilePath()));
    }
    if (!unread.isEmpty())
        MsgBox::ask(this, QStringLiteral("The following files could not be read:"),
                    {{QStringLiteral("Ok"), QMessageBox::AcceptRole}}, 0, unread.join(QLatin1Char('\n')));
}

void ImportWindow::openLocalFilesQuery() {
    const QStringList paths = FileDialogHelper::getOpenFileNames(
        this, QStringLiteral("Select one or more files to open."),
        QDir::fromNativeSeparators(folderEdit->text()),
        QStringLiteral("JSON files (*.json);;XML files (*.xml);;Any files(*)"));
    openFiles(paths);
}

void ImportWindow::openByClipboardContents() {
    const QMimeData* data = QGuiApplication::clipboard()->mimeData();
    const QString text = data ? data->text() : QString();
    if (text.isEmpty()) {
        MsgBox::inform(this, QStringLiteral("The clipboard holds no text."));
        return;
    }
    createTab(text, SOURCE_CLIPBOARD, QString(), text.size() > kPreviewChars);
}

void ImportWindow::openUrlDialog() {
    OpenUrlDialog dialog(this);
    if (dialog.exec() == QDialog::Accepted && !dialog.getUrl().isEmpty())
        openUrl(dialog.getUrl());
}

void ImportWindow::openUrl(const QString& address) {
    const QUrl url = QUrl::fromUserInput(address);
    if (!url.isValid() || url.isLocalFile()) {
        if (url.isLocalFile())
            openFile(url.toLocalFile());
        return;
    }
    // One fetch at a time: a new address replaces the one on its way.
    if (reply) {
        QNetworkReply* old = reply;
        reply = nullptr;
        old->disconnect(this);
        old->abort();
        old->deleteLater();
    }
    received.clear();
    networkErrorShown = false;
    QNetworkRequest request(url);
    request.setTransferTimeout(kTransferTimeoutMs);
    reply = network->get(request);
    reply->setProperty("address", url.toString());
    connect(reply, &QNetworkReply::readyRead, this, &ImportWindow::onReplyReadyRead);
    connect(reply, &QNetworkReply::errorOccurred, this, &ImportWindow::onNetworkError);
#if QT_CONFIG(ssl)
    connect(reply, &QNetworkReply::sslErrors, this, [](const QList<QSslError>&) {
        // Not ignored: the fetch then fails with the handshake error, which is told.
    });
#endif
    connect(reply, &QNetworkReply::finished, this, &ImportWindow::onReplyFinished);
    fetchLabel->setText(QStringLiteral("Fetching %1...").arg(url.toString()));
    fetchLabel->show();
}

void ImportWindow::onReplyReadyRead() {
    if (reply)
        received += reply->readAll();
}

void ImportWindow::onNetworkError(QNetworkReply::NetworkError) {
    // Told once the reply has finished, outside the network code's own signal.
}

void ImportWindow::onReplyFinished() {
    QNetworkReply* done = reply;
    if (!done || sender() != done)
        return;
    reply = nullptr;
    done->deleteLater();
    fetchLabel->hide();
    const QNetworkReply::NetworkError error = done->error();
    if (error != QNetworkReply::NoError) {
        received.clear();
        MsgBox::Question question;
        question.title = QStringLiteral("Network error");
        question.text = QStringLiteral("There was a network error:<br>") +
                        QStringLiteral("%1: %2").arg(networkErrorName(error), networkErrorText(error));
        question.textFormat = Qt::RichText;
        question.buttons = {{QStringLiteral("Ok"), QMessageBox::AcceptRole}};
        question.defaultButton = 0;
        MsgBox::ask(this, question);
        emit urlFetchedSignal();
        return;
    }
    received += done->readAll();
    const QString text = decodeDocument(received);
    received.clear();
    createTab(text, SOURCE_URL, done->property("address").toString(), text.size() > kPreviewChars);
    emit urlFetchedSignal();
}

QString ImportWindow::networkErrorName(QNetworkReply::NetworkError error) {
    const char* key = QMetaEnum::fromType<QNetworkReply::NetworkError>().valueToKey(error);
    return key ? QString::fromLatin1(key) : QString::number(static_cast<int>(error));
}

QString ImportWindow::networkErrorText(QNetworkReply::NetworkError error) {
    switch (error) {
    case QNetworkReply::NoError:
        return QStringLiteral("No error.");
    case QNetworkReply::ConnectionRefusedError:
        return QStringLiteral(
            "The remote server refused the connection (the server is not accepting requests).");
    case QNetworkReply::RemoteHostClosedError:
        return QStringLiteral("The remote server closed the connection prematurely, before the entire reply "
                              "was received and processed.");
    case QNetworkReply::HostNotFoundError:
        return QStringLiteral("The remote host name was not found (invalid hostname).");
    case QNetworkReply::TimeoutError:
        return QStringLiteral("The connection to the remote server timed out.");
    case QNetworkReply::OperationCanceledError:
        return QStringLiteral(
            "The operation was canceled before it was finished, or nothing came for too long.");
    case QNetworkReply::SslHandshakeFailedError:
        return QStringLiteral(
            "The SSL/TLS handshake failed and the encrypted channel could not be established.");
    case QNetworkReply::TemporaryNetworkFailureError:
        return QStringLiteral("The connection was broken due to disconnection from the network.");
    case QNetworkReply::NetworkSessionFailedError:
        return QStringLiteral("The connection was broken due to disconnection from the network or failure to "
                              "start the network.");
    case QNetworkReply::BackgroundRequestNotAllowedError:
        return QStringLiteral("The background request is not currently allowed due to platform policy.");
    case QNetworkReply::TooManyRedirectsError:
        return QStringLiteral("While following redirects, the maximum limit was reached.");
    case QNetworkReply::InsecureRedirectError:
        return QStringLiteral("While following redirects, the network access API detected a redirect from an "
                              "encrypted protocol (https) to an unencrypted one (http).");
    case QNetworkReply::ProxyConnectionRefusedError:
        return QStringLiteral("The connection to the proxy server was refused (the proxy server is not "
                              "accepting requests).");
    case QNetworkReply::ProxyConnectionClosedError:
        return QStringLiteral("The proxy server closed the connection prematurely, before the entire reply "
                              "was received and processed.");
    case QNetworkReply::ProxyNotFoundError:
        return QStringLiteral("The proxy host name was not found (invalid proxy hostname).");
    case QNetworkReply::ProxyTimeoutError:
        return QStringLiteral("The connection to the proxy timed out or the proxy did not reply in time.");
    case QNetworkReply::ProxyAuthenticationRequiredError:
        return QStringLiteral(
            "The proxy requires authentication, but did not accept any credentials offered.");
    case QNetworkReply::ContentAccessDenied:
        return QStringLiteral("The access to the remote content was denied (similar to HTTP error 403).");
    case QNetworkReply::ContentOperationNotPermittedError:
        return QStringLiteral("The operation requested on the remote content is not permitted.");
    case QNetworkReply::ContentNotFoundError:
        return QStringLiteral("The remote content was not found at the server (similar to HTTP error 404).");
    case QNetworkReply::AuthenticationRequiredError:
        return QStringLiteral("The remote server requires authentication to serve the content, but the "
                              "credentials provided were not accepted.");
    case QNetworkReply::ContentReSendError:
        return QStringLiteral("The request needed to be sent again, but this failed.");
    case QNetworkReply::ContentConflictError:
        return QStringLiteral(
            "The request could not be completed due to a conflict with the current state of "
            "the resource.");
    case QNetworkReply::ContentGoneError:
        return QStringLiteral("The requested resource is no longer available at the server.");
    case QNetworkReply::InternalServerError:
        return QStringLiteral("The server encountered an unexpected condition which prevented it from "
                              "fulfilling the request.");
    case QNetworkReply::OperationNotImplementedError:
        return QStringLiteral(
            "The server does not support the functionality required to fulfill the request.");
    case QNetworkReply::ServiceUnavailableError:
        return QStringLiteral("The server is unable to handle the request at this time.");
    case QNetworkReply::ProtocolUnknownError:
        return QStringLiteral("The network access API cannot honor the request because the protocol is not "
                              "known.");
    case QNetworkReply::ProtocolInvalidOperationError:
        return QStringLiteral("The requested operation is invalid for this protocol.");
    case QNetworkReply::UnknownNetworkError:
        return QStringLiteral("An unknown network-related error was detected.");
    case QNetworkReply::UnknownProxyError:
        return QStringLiteral("An unknown proxy-related error was detected.");
    case QNetworkReply::UnknownContentError:
        return QStringLiteral("An unknown error related to the remote content was detected.");
    case QNetworkReply::ProtocolFailure:
        return QStringLiteral("A breakdown in protocol was detected (parsing error, invalid or unexpected "
                              "responses, etc.).");
    case QNetworkReply::UnknownServerError:
        return QStringLiteral("An unknown error related to the server response was detected.");
    }
    return QStringLiteral("An unknown network-related error was detected.");
}

// --- Tabs -------------------------------------------------------------------------------------

int ImportWindow::numTabs() const {
    return tabs->count();
}

FileImportWidget* ImportWindow::tabAt(int index) const {
    return qobject_cast<FileImportWidget*>(tabs->widget(index));
}

int ImportWindow::findTab(const QString& key) const {
    for (int i = 0; i < tabs->count(); ++i) {
        if (contentKey(tabAt(i)->getFile()) == key)
            return i;
    }
    return -1;
}

FileImportWidget* ImportWindow::createTab(const QString& contents, SourceType type, const QString& source,
                                          bool truncated) {
    NonTableFile file;
    file.sourceType = type;
    file.source = type == SOURCE_CLIPBOARD ? QString() : source;
    file.contents = contents;
    file.truncated = truncated;
    file.fileType =
        type == SOURCE_LOCAL_FILE ? getFileType(source, contents) : getFileTypeFromString(contents);
    auto* widget = new FileImportWidget(file, getInitialSaveFilepath(file), settings, true);
    QString title;
    switch (type) {
    case SOURCE_LOCAL_FILE:
        title = QFileInfo(source).fileName();
        break;
    case SOURCE_CLIPBOARD:
        title = QStringLiteral("Clipboard");
        break;
    case SOURCE_URL: {
        const QUrl url(source);
        title = url.fileName().isEmpty() ? url.host() : url.fileName();
        break;
    }
    }
    // A source opened again takes the place of its tab.
    const int existing = findTab(contentKey(file));
    int index = 0;
    if (existing >= 0) {
        QWidget* old = tabs->widget(existing);
        tabs->removeTab(existing);
        old->deleteLater();
        index = tabs->insertTab(existing, widget, title);
    } else {
        index = tabs->addTab(widget, title);
    }
    tabs->setTabToolTip(index, FileImportWidget::sourceText(file));
    tabs->setCurrentIndex(index);
    sourceStack->setCurrentWidget(tabs);
    importButton->setEnabled(true);
    return widget;
}

void ImportWindow::closeTab(int index) {
    QWidget* widget = tabs->widget(index);
    if (!widget)
        return;
    tabs->removeTab(index);
    widget->deleteLater();
    if (tabs->count() == 0) {
        sourceStack->setCurrentIndex(0);
        importButton->setEnabled(false);
    }
}

QString ImportWindow::getSaveFolderpath(const NonTableFile& file) const {
    if (file.sourceType == SOURCE_LOCAL_FILE && saveLocalCheck->isChecked() && !file.source.isEmpty())
        return QFileInfo(file.source).absolutePath();
    const QString folder = QDir::fromNativeSeparators(folderEdit->text().trimmed());
    return folder.isEmpty() ? QDir::homePath() : folder;
}

QString ImportWindow::getInitialSaveFilepath(const NonTableFile& file) const {
    QString base;
    switch (file.sourceType) {
    case SOURCE_LOCAL_FILE:
        base = QFileInfo(file.source).baseName();
        break;
    case SOURCE_CLIPBOARD:
        base = QStringLiteral("clipboard contents");
        break;
    case SOURCE_URL:
        base = file.source;
        base.replace(QLatin1String("://"), QLatin1String("_"));
        base.replace(QLatin1Char('.'), QLatin1Char('_'));
        base.replace(QLatin1Char('/'), QLatin1Char('_'));
        if (base.size() >= 256)
            base.truncate(255);
        break;
    }
    return QDir(getSaveFolderpath(file)).filePath(base + QLatin1Char('.') + getFileParameters().extension);
}

void ImportWindow::updatePathFieldDisplay() {
    for (int i = 0; i < tabs->count(); ++i) {
        FileImportWidget* tab = tabAt(i);
        tab->setInitialSaveFilepath(getInitialSaveFilepath(tab->getFile()));
    }
}

// --- Import -----------------------------------------------------------------------------------

bool ImportWindow::importFiles() {
    if (tabs->count() == 0)
        return false;
    struct Job {
        FileImportWidget* tab;
        QString target;
    };
    std::vector<Job> jobs;
    QStringList refused;
    QStringList existing;
    for (int i = 0; i < tabs->count(); ++i) {
        FileImportWidget* tab = tabAt(i);
        if (!tab->isImportable()) {
            const NonTableFile& file = tab->getFile();
            refused.append(file.sourceType == SOURCE_CLIPBOARD    ? QStringLiteral("Clipboard")
                           : file.sourceType == SOURCE_LOCAL_FILE ? QDir::toNativeSeparators(file.source)
                                                                  : file.source);
            continue;
        }
        QString target = tab->getSaveFilepath();
        if (target.isEmpty())
            target = getInitialSaveFilepath(tab->getFile());
        target = QDir::cleanPath(QDir(getSaveFolderpath(tab->getFile())).absoluteFilePath(target));
        // Two sources written to one file would leave only the last: each needs its own.
        const auto same =
            std::find_if(jobs.begin(), jobs.end(), [&target](const Job& j) { return j.target == target; });
        if (same != jobs.end()) {
            tabs->setCurrentIndex(i);
            MsgBox::ask(
                this,
                QStringLiteral("Two sources would be saved to the same file. Give each its own file name:"),
                {{QStringLiteral("Ok"), QMessageBox::AcceptRole}}, 0, QDir::toNativeSeparators(target));
            tab->focusAndSelectFileEdit();
            return false;
        }
        if (QFileInfo::exists(target))
            existing.append(target);
        jobs.push_back({tab, target});
    }
    if (!existing.isEmpty()) {
        const QString text =
            existing.size() == 1
                ? QStringLiteral("The following file already exists. Do you want to overwrite it?")
                : QStringLiteral("The following files already exist. Do you want to overwrite them?");
        const int answer = MsgBox::ask(this, text,
                                       {{QStringLiteral("&Overwrite"), QMessageBox::AcceptRole},
                                        {QStringLiteral("Do&n't Overwrite"), QMessageBox::RejectRole}},
                                       1, displayPaths(existing));
        if (answer != 0)
            return false;
    }
    announceClosing();
    const ExtensionData parameters = getFileParameters();
    const bool preserve = getPreserveStructure();

    // The conversions run on a worker with progress and Cancel once there is much to read; the
    // window keeps painting meanwhile. A file is written whole or not at all.
    std::vector<NonTableFile> files;
    qint64 size = 0;
    for (const Job& job : jobs) {
        files.push_back(job.tab->getFile());
        size += files.back().truncated ? kImportCharsOnWorker : files.back().contents.size();
    }
    QStringList written;
    QStringList failed;
    if (!workHost)
        workHost = std::make_unique<TableModel>(false);
    bool finished = false;
    {
        importing = true;
        const auto done = qScopeGuard([this] { importing = false; });
        WorkerProgress progress(this, workHost.get(), QStringLiteral("Importing..."), kWindowTitle);
        finished = workHost->readCellsOnWorker(
            [&](TableModelWorker& work) {
                const qint64 total = qint64(files.size()) * 1000;
                for (std::size_t i = 0; i < files.size(); ++i) {
                    NonTableFile& file = files[i];
                    const qint64 before = qint64(i) * 1000;
                    if (!work.reportProgress(before, total))
                        return false;
                    // A local file's tab holds the start of it; the conversion reads all of it.
                    bool more = false;
                    if (file.sourceType == SOURCE_LOCAL_FILE && file.truncated &&
                        !readDocument(file.source, -1, file.contents, more)) {
                        failed.append(jobs[i].target);
                        continue;
                    }
                    const Conversion::Progress report = [&](qint64 done, qint64 of) {
                        return work.reportProgress(before + (of > 0 ? done * 1000 / of : 0), total);
                    };
                    bool canceled = false;
                    if (Conversion::convertToTable(file, jobs[i].target, parameters, preserve, report,
                                                   &canceled))
                        written.append(jobs[i].target);
                    else if (canceled)
                        return false;
                    else
                        failed.append(jobs[i].target);
                    file.contents.clear();
                }
                return true;
            },
            size >= kImportCharsOnWorker);
    }
    if (!finished) {
        // Canceled: what was written before stays, the window stays for another try.
        closingAnnounced = false;
        return false;
    }
    if (!failed.isEmpty())
        MsgBox::ask(this, QStringLiteral("The following files could not be written:"),
                    {{QStringLiteral("Ok"), QMessageBox::AcceptRole}}, 0, displayPaths(failed));
    if (getOpenFilesAfterImporting() && !written.isEmpty())
        emit filesImportedSignal(written, parameters);
    if (!refused.isEmpty())
        MsgBox::ask(
            this, QStringLiteral("The following sources cannot be imported because they're not JSON or XML:"),
            {{QStringLiteral("Ok"), QMessageBox::AcceptRole}}, 0, refused.join(QLatin1Char('\n')));
    // A target that could not be written keeps the window open to choose another.
    if (failed.isEmpty())
        close();
    else
        closingAnnounced = false;
    return true;
}

void ImportWindow::announceClosing() {
    if (closingAnnounced)
        return;
    closingAnnounced = true;
    emit importWindowClosingSignal();
}

void ImportWindow::cancelImport() {
    if (importing && workHost)
        workHost->cancelWorker();
}

void ImportWindow::closeEvent(QCloseEvent* event) {
    // The import works on this window's tabs under its own event loop: the window waits for it.
    if (importing) {
        event->ignore();
        return;
    }
    if (reply) {
        QNetworkReply* running = reply;
        reply = nullptr;
        running->disconnect(this);
        running->abort();
        running->deleteLater();
    }
    announceClosing();
    event->accept();
}

void ImportWindow::dragEnterEvent(QDragEnterEvent* event) {
    const QList<QUrl> urls = event->mimeData()->urls();
    if (std::any_of(urls.begin(), urls.end(), [](const QUrl& url) { return url.isLocalFile(); }))
        event->acceptProposedAction();
}

void ImportWindow::dragMoveEvent(QDragMoveEvent* event) {
    const QList<QUrl> urls = event->mimeData()->urls();
    if (std::any_of(urls.begin(), urls.end(), [](const QUrl& url) { return url.isLocalFile(); }))
        event->acceptProposedAction();
}

void ImportWindow::dropEvent(QDropEvent* event) {
    QList<QString> paths;
    // A folder holds no document of its own: it is passed over.
    for (const QUrl& url : event->mimeData()->urls()) {
        if (url.isLocalFile() && !QFileInfo(url.toLocalFile()).isDir())
            paths.append(url.toLocalFile());
    }
    openFiles(paths);
    event->acceptProposedAction();
}
