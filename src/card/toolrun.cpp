#include "toolrun.h"

#include "shell.h"

QCoro::Task<QString> outputOf(QString command)
{
    constexpr qsizetype largestOutput = qsizetype{64} << 20; // UTF-16 units; a million entries of a listing
    QString output;
    const Shell::OutputHandler append = [&output](const QString &chunk) {
        output += QStringView(chunk).left(largestOutput - output.size());
    };
    co_await Shell::runAsync(command, append);
    co_return output;
}
