#include "standin/random.h"
#include "standin/scenario.h"
#include "standin/stage.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QFile>
#include <QPixmap>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QWidget>

#include <poll.h>
#include <unistd.h>

namespace {

/// Plays statements from standard input as they come; a person may go on after a mistake.
Scenario::Outcome playInput(Scenario &scenario, QTextStream &output)
{
    const bool isPerson = isatty(STDIN_FILENO);
    // Unbuffered, so that what a person has typed already is never held back behind the wait.
    QFile input;
    if (!input.open(STDIN_FILENO, QIODevice::ReadOnly | QIODevice::Unbuffered))
        return Scenario::Mistaken;
    for (int number = 1;; ++number) {
        if (isPerson) {
            output << "> " << Qt::flush;
            // The settings dialog lives on while a person thinks.
            pollfd wait{STDIN_FILENO, POLLIN, 0};
            while (poll(&wait, 1, 20) == 0)
                QApplication::processEvents();
        }
        const QByteArray line = input.readLine();
        const QString place = QStringLiteral("-:%1").arg(number);
        if (line.isEmpty())
            return scenario.finish(place);
        const Scenario::Outcome outcome = scenario.playLine(QString::fromUtf8(line), place);
        if (outcome != Scenario::Held && !isPerson)
            return outcome;
    }
}

bool writePicture(Stage &stage, const QString &file, QTextStream &output, QTextStream &errors)
{
    stage.configure();
    QApplication::processEvents();
    const QWidget *dialog = Stage::dialog();
    if (!dialog || !const_cast<QWidget *>(dialog)->grab().save(file, "PNG")) {
        errors << "The picture of the settings dialog can't be written to " << file << '\n'
               << Qt::flush;
        return false;
    }
    output << "A picture of the settings dialog is in " << file << '\n' << Qt::flush;
    return true;
}

}

int main(int argc, char *argv[])
{
    // What the plug-in prints stands in the story where it was printed.
    setvbuf(stdout, nullptr, _IOLBF, 0);
    if (qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")
        && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    // Qt asks for this folder and complains when nobody has logged in to have one.
    const QTemporaryDir runtimeFolder;
    if (qEnvironmentVariableIsEmpty("XDG_RUNTIME_DIR"))
        qputenv("XDG_RUNTIME_DIR", QFile::encodeName(runtimeFolder.path()));
    QApplication application(argc, argv);
    // Without a desktop Qt falls back on a font larger than any desktop's.
    if (QApplication::platformName() == QLatin1String("offscreen"))
        QApplication::setFont(QFont(QStringLiteral("Sans Serif"), 9));
    QApplication::setApplicationName(QStringLiteral("staybolt-host"));
    // Closing the dialog must not end the program.
    QApplication::setQuitOnLastWindowClosed(false);

    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Loads the plug-in as the voice client does and plays scenarios with it.\n\n"
                       "Exit status: 0 all is well, 1 an expectation did not hold or the plug-in "
                       "broke a rule,\n2 a scenario or the plug-in can't be used.\n\n"
                       "Statements of a scenario:\n")
        + Scenario::help());
    parser.addHelpOption();
    const QCommandLineOption library(
        QStringLiteral("library"), QStringLiteral("The plug-in's library."), QStringLiteral("FILE"),
        QApplication::applicationDirPath() + QStringLiteral("/libstaybolt.so.1"));
    const QCommandLineOption config(QStringLiteral("config"),
                                    QStringLiteral("The client's configuration folder, by default "
                                                   "an empty one."),
                                    QStringLiteral("FOLDER"));
    const QCommandLineOption quiet(QStringLiteral("quiet"),
                                   QStringLiteral("Don't tell the story."));
    const QCommandLineOption calls(QStringLiteral("calls"),
                                   QStringLiteral("Print the numbered log of all calls."));
    const QCommandLineOption settings(QStringLiteral("settings"),
                                      QStringLiteral("Show the settings dialog at the end."));
    const QCommandLineOption picture(QStringLiteral("settings-picture"),
                                     QStringLiteral("Write a picture of the settings dialog."),
                                     QStringLiteral("FILE"));
    const QCommandLineOption random(
        QStringLiteral("random"),
        QStringLiteral("Let that many random things happen and compare what the plug-in does with "
                       "what its rules predict."),
        QStringLiteral("EVENTS"));
    const QCommandLineOption seed(QStringLiteral("seed"),
                                  QStringLiteral("Play the random events of an earlier run."),
                                  QStringLiteral("NUMBER"));
    parser.addOptions({library, config, quiet, calls, settings, picture, random, seed});
    parser.addPositionalArgument(QStringLiteral("scenario"),
                                 QStringLiteral("A scenario, - for standard input."),
                                 QStringLiteral("[scenario...]"));
    parser.process(application);

    QTextStream output(stdout);
    QTextStream errors(stderr);
    Stage stage(parser.value(config));
    if (!parser.isSet(quiet))
        stage.tell = [&](const QString &line) { output << line << '\n' << Qt::flush; };

    Scenario scenario(stage, parser.value(library), errors);
    int status = Scenario::Held;
    const QStringList files = parser.positionalArguments();
    for (const QString &file : files) {
        if (status == Scenario::Held) {
            status =
                file == QLatin1String("-") ? playInput(scenario, output) : scenario.playFile(file);
        }
    }

    if (status == Scenario::Held && parser.isSet(random)) {
        const quint64 number = parser.isSet(seed) ? parser.value(seed).toULongLong()
                                                  : QRandomGenerator::system()->generate();
        output << "Seed " << number << '\n' << Qt::flush;
        stage.tell = [](const QString &) {};
        if (!playRandom(stage, parser.value(library), parser.value(random).toInt(), number, errors))
            status = Scenario::Failed;
    }

    const bool wantsDialog = parser.isSet(settings) || parser.isSet(picture);
    if (status == Scenario::Held && wantsDialog && !stage.plugin.isOpen()) {
        const QString error = stage.load(parser.value(library));
        if (!error.isEmpty()) {
            errors << error << '\n' << Qt::flush;
            status = Scenario::Mistaken;
        }
    }
    if (status == Scenario::Held && parser.isSet(picture)
        && !writePicture(stage, parser.value(picture), output, errors)) {
        status = Scenario::Failed;
    }
    if (status == Scenario::Held && parser.isSet(settings)) {
        QApplication::setQuitOnLastWindowClosed(true);
        stage.configure();
        QApplication::exec();
    }

    if (stage.plugin.isOpen())
        stage.unload();
    if (parser.isSet(calls))
        output << stage.host.calls.join(QLatin1Char('\n')) << '\n' << Qt::flush;
    const QStringList complaints = stage.host.complaints();
    for (const QString &complaint : complaints)
        errors << "The plug-in broke a rule: " << complaint << '\n' << Qt::flush;
    if (status == Scenario::Held && !complaints.isEmpty())
        status = Scenario::Failed;
    if (status == Scenario::Held && stage.host.callCount > 0 && !parser.isSet(quiet)) {
        output << "The plug-in made " << stage.host.callCount << " calls and gave back all "
               << stage.host.blocksHandedOut() << " blocks it was handed.\n"
               << Qt::flush;
    }
    return status;
}
