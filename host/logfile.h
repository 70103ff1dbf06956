#pragma once

#include <QString>

// The client's log: one line per message (time, level, file:line, function, text) in
// a file of the user's data folder. Warnings and worse also go to standard error.
namespace LogFile {
// Installs the message handler; returns the file's path.
QString install(const QString &folder);
}
