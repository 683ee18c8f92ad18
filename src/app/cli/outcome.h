#pragma once

#include <QIODevice>
#include <QString>

class QByteArray;

/// What the program ends with. Told in --help; scripts may rely on the numbers.
enum class ExitStatus {
    Whole = 0, ///< the result is complete
    NoCard = 1, ///< the image can't be read, or holds no card
    Usage = 2, ///< the command line is wrong, as everywhere
    Incomplete = 3, ///< damage: what could be read or repaired is there, and something is missing
    NotFound = 4, ///< no such recording
    NotWritten = 5, ///< the result can't be written
    Internal = 6, ///< a helper tool is missing or failed
    Unrepairable = 7, ///< nothing in the recording can be played
};

struct Outcome {
    ExitStatus status = ExitStatus::Whole;
    QString message; ///< for people, without a line end; empty if there is nothing to say

    [[nodiscard]] bool isWhole() const { return status == ExitStatus::Whole; }
};

/// Writes the whole text. Nothing is to be said where the reader has gone: it has what it wanted.
[[nodiscard]] Outcome deliver(QIODevice *results, const QByteArray &text);

/// Delivers in pieces what would be much at once.
class Delivery final : public QIODevice
{
public:
    explicit Delivery(QIODevice *results);
    [[nodiscard]] bool isSequential() const override { return true; }
    [[nodiscard]] Outcome end(); ///< once all is written

protected:
    qint64 readData(char *, qint64) override { return -1; }
    qint64 writeData(const char *text, qint64 size) override;

private:
    QIODevice *m_results;
    QByteArray m_piece;
    Outcome m_outcome;
};
