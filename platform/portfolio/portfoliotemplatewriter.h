#pragma once

#include "veltrautils.h"

#include <QString>

// Writes the .xlsx templates of the portfolio import: the header row the import
// expects and a few example lines of real securities, which import as they stand, and
// a second sheet that explains each column (the import reads the first sheet only).
class TZPLATFORM_EXPORT PortfolioTemplateWriter
{
public:
    static QString suggestedFileName(VeltraConstants::TemplateFileType type);
    static QString caption(VeltraConstants::TemplateFileType type);

    // False with a reason when the file cannot be written.
    static bool write(VeltraConstants::TemplateFileType type, const QString &path,
                      QString *error = nullptr);
};
