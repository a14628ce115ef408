// staybolt-settings: shows and changes the plug-in's settings file, the keys included that the
// dialog does not know. A server's unique id is base64, which the file holds in an escaped form
// that nobody gets right by hand.

#include "settings-tool/commands.h"
#include "settings-tool/settingswindow.h"
#include "settings-tool/storedsettings.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QFile>
#include <QTextStream>

#include <cerrno>
#include <cstdio>
#include <memory>

namespace {

constexpr int errorStatus = 2;
constexpr int longestWait = 3600;

/// Lets Qt go on without a display if the one that is set can't be reached; by default it would end
/// the program. Returns whether one is set.
bool chooseDisplay()
{
    const bool isWayland = qEnvironmentVariableIsSet("WAYLAND_DISPLAY");
    if (!isWayland && !qEnvironmentVariableIsSet("DISPLAY"))
        return false;
    qputenv("QT_QPA_PLATFORM", isWayland ? "wayland;xcb;offscreen" : "xcb;offscreen");
    return true;
}

void print(const QString &text)
{
    QTextStream(stdout) << text;
    if (fflush(stdout) != 0 || ferror(stdout) != 0)
        throw Error{QStringLiteral("the output can't be written: ") + qt_error_string(errno)};
}

int run(int &argc, char *argv[])
{
    auto application = std::make_unique<QCoreApplication>(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral(
            "Shows and changes the settings of the Kestrelsoft Staybolt plug-in. Without "
            "a command it\nopens a window.\n\n")
        + commands::help());
    const QCommandLineOption help({QStringLiteral("h"), QStringLiteral("help")},
                                  QStringLiteral("Displays this help."));
    parser.addOption(help);
    const QCommandLineOption version = parser.addVersionOption();
    const QString home = QFile::decodeName(qgetenv("HOME"));
    const QCommandLineOption file(
        QStringLiteral("file"),
        QStringLiteral("The settings file, ~/.ts3client/Kestrelsoft Staybolt.ini by default."),
        QStringLiteral("FILE"),
        home.isEmpty() ? QString() : home + QStringLiteral("/.ts3client/Kestrelsoft Staybolt.ini"));
    const QString usualWait = QString::number(FolderLock::usualPatience.count());
    const QCommandLineOption wait(
        QStringLiteral("wait"),
        QStringLiteral("How long to wait while another program is saving: 0 to %1 seconds, %2 by "
                       "default.")
            .arg(QString::number(longestWait), usualWait),
        QStringLiteral("SECONDS"), usualWait);
    parser.addOptions({file, wait});
    parser.addPositionalArgument(
        QStringLiteral("command"),
        QStringLiteral("See above. Put -- before an id or a message that begins with a dash."),
        QStringLiteral("[command [--] [argument...]]"));
    if (!parser.parse(QCoreApplication::arguments())) {
        throw Error{QStringLiteral("%1 See --help. Put -- before an id or a message that begins "
                                   "with a dash.")
                        .arg(parser.errorText())};
    }
    if (parser.isSet(version)) {
        print(QStringLiteral("staybolt-settings " STAYBOLT_VERSION "\n"));
        return 0;
    }
    const QStringList words = parser.positionalArguments();
    const QString path = parser.value(file);
    if (path.isEmpty() && parser.isSet(file))
        throw Error{QStringLiteral("--file needs the name of a file")};
    bool isNumber = false;
    const std::chrono::seconds patience(parser.value(wait).toUInt(&isNumber));
    if (!isNumber || patience.count() > longestWait) {
        throw Error{QStringLiteral("--wait takes a number of seconds from 0 to %1, not \"%2\"")
                        .arg(QString::number(longestWait), parser.value(wait))};
    }
    if (parser.isSet(help) || !words.isEmpty()) {
        print(parser.isSet(help) ? parser.helpText() : commands::run(path, patience, words));
        return 0;
    }
    const bool isChosen = !qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM");
    if (isChosen || chooseDisplay()) {
        application.reset(); // only one may exist
        application = std::make_unique<QApplication>(argc, argv);
        if (isChosen || QGuiApplication::platformName() != QLatin1String("offscreen")) {
            QGuiApplication::setDesktopFileName(QStringLiteral("staybolt-settings"));
            SettingsWindow window(path, patience);
            window.show();
            return QApplication::exec();
        }
    }
    print(QStringLiteral("Can't open a window: no display is available. Use a command instead.\n\n")
          + parser.helpText());
    return 0;
}

}

int main(int argc, char *argv[])
{
    QCoreApplication::setApplicationName(QStringLiteral("staybolt-settings"));
    QCoreApplication::setAttribute(Qt::AA_DisableWindowContextHelpButton);
    try {
        return run(argc, argv);
    } catch (const Error &error) {
        QTextStream(stderr) << (error.isUsage ? "Usage: staybolt-settings " : "staybolt-settings: ")
                            << error.message << '\n';
        return errorStatus;
    }
}
