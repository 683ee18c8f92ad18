#pragma once

#include "app/session/appviewmodel.h"
#include "card/processvalues.h"
#include "common/preferences.h"
#include "common/task.h"
#include "support/scriptedcard.h"
#include "support/scriptedmovie.h"

#include <QCoroTask>
#include <QTest>

/// The state with all that works behind it, on scripted tools, cards and players. A recording's text begins
/// with its numbers of video and sound tracks, such as "2 1".
class SessionFixture
{
public:
    static constexpr DiskSpace room{100'000'000'000, 100'000'000'000};
    static constexpr DiskSpace noRoom{1'900'000'000, 20'000'000'000};

    SessionFixture()
    {
        static int number = 0;
        card = tools().addCard(QStringLiteral("card%1").arg(++number));
        tools().clearCalls();
        tools().space = room;
        model = std::make_unique<AppViewModel>(
            tools().desktop, [this](QString path) { return open(std::move(path)); }, preferences());
        if (!QCoro::waitFor(model->procManager().setup()))
            qFatal("the scripted tools can't be set up");
    }
    ~SessionFixture()
    {
        tools().releaseAll();
        detach();
        QTest::qWait(0);
    }
    Q_DISABLE_COPY_MOVE(SessionFixture)

    /// One for the process: the folder of extracted files is fixed by the first use.
    static ScriptedTools &tools()
    {
        static ScriptedTools instance;
        return instance;
    }

    QString addCard() const { return tools().addCard(card.section(u'/', -1) + u'b'); }
    void attach(const QString &path) const
    {
        processvalues::setCardDevicePath(path);
        model->loadFileList();
    }
    void attach() const { attach(card); }
    void detach() const
    {
        processvalues::setCardDevicePath(std::nullopt);
        model->unloadFileList();
    }
    /// Attaches the card and waits for its rows.
    [[nodiscard]] bool show(int count) const
    {
        attach();
        return QTest::qWaitFor([&] { return model->filtered().size() == count; });
    }
    /// Attaches the card and waits until all of it has been extracted.
    [[nodiscard]] bool showAllExtracted() const
    {
        attach();
        const auto isRead = [](const FileListItem &item) { return item.read > 0; };
        return QTest::qWaitFor([&] {
            return !model->filtered().isEmpty()
                && std::all_of(model->fileList().cbegin(), model->fileList().cend(), isRead);
        });
    }

    void add(const QString &name, const QByteArray &content) const
    {
        tools().addRecording(card, QStringLiteral("normal"), name, content);
    }
    void add(const QString &type, const QStringList &names) const { add(card, type, names); }
    static void add(const QString &device, const QString &type, const QStringList &names)
    {
        for (const QString &name : names)
            tools().addRecording(device, type, name, "2 1 " + name.toUtf8());
    }
    /// A recording's name by its time of the day.
    static QString at(const char *time)
    {
        return QStringLiteral("N_20240309_%1.mp4").arg(QLatin1String(time));
    }

    static void hold(const QString &what) { tools().hold(what); }
    static void release(const QString &what) { tools().release(what); }
    [[nodiscard]] static qsizetype countOf(const QString &call) { return tools().calls().count(call); }
    [[nodiscard]] static qsizetype readsOf(const QString &name)
    {
        return countOf(QStringLiteral("read mov/normal/") + name);
    }

    [[nodiscard]] QStringList names() const
    {
        QStringList result;
        for (const FileListItem &item : model->filtered())
            result.append(item.name);
        return result;
    }
    [[nodiscard]] int row(const QString &name) const { return static_cast<int>(names().indexOf(name)); }
    [[nodiscard]] static quint64 readSize(const FileList &list, const QString &name)
    {
        for (const FileListItem &item : list) {
            if (item.name == name)
                return item.read;
        }
        return 0;
    }
    [[nodiscard]] bool isPlaying() const { return model->playerManager()->isPlaying(); }

    std::unique_ptr<AppViewModel> model;
    QString card; ///< its device
    QStringList opened; ///< names of the files that were opened, in order
    QString unopenable; ///< such as "temp.mp4"
    QString heldOpening; ///< the name of a file that takes its time

private:
    static Preferences &preferences()
    {
        static Preferences instance(tools().path(QStringLiteral("preferences")));
        return instance;
    }

    QCoro::Task<OpenedMovie> open(QString path)
    {
        const QString name = QFileInfo(path).fileName();
        opened.append(name);
        OpenedMovie movie;
        QFile file(path);
        const bool isOpen = name != unopenable && file.open(QIODevice::ReadOnly);
        while (name == heldOpening)
            co_await sleepFor(std::chrono::milliseconds(5));
        if (!isOpen) {
            movie.error = {MovieError::Kind::NoMovie, QStringLiteral("can't open")};
            co_return movie;
        }
        const QByteArray text = file.readAll();
        const QList<double> video(text.mid(0, 1).toInt(), 60.0);
        const QList<double> audio(text.mid(2, 1).toInt(), 60.0);
        movie.movie = std::make_shared<ScriptedMovie>(video, audio);
        co_return movie;
    }
};
