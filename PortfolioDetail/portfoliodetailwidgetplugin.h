#pragma once

#include "iplugin.h"

// Root object of the page plugin. Its one job is to publish a descriptor that tells
// the host which page widget it offers and how to create it; it never creates a
// widget itself.
class PortfolioDetailWidgetPlugin : public IPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "TZAppPlugin" FILE "PortfolioDetail.json")
    Q_INTERFACES(IPlugin)

public:
    PortfolioDetailWidgetPlugin() = default;

    bool initialize(const QStringList &arguments, QString *errorString,
                    const QString &libraryName) override;
    void extensionsInitialized() override;
};
