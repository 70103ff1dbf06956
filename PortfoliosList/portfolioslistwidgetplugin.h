#pragma once

#include "iplugin.h"

// Root object of the page plugin. Its one job is to publish a descriptor that tells
// the host which page widget it offers and how to create it; it never creates a
// widget itself.
class PortfoliosListWidgetPlugin : public IPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "TZAppPlugin" FILE "PortfoliosList.json")
    Q_INTERFACES(IPlugin)

public:
    PortfoliosListWidgetPlugin() = default;

    bool initialize(const QStringList &arguments, QString *errorString,
                    const QString &libraryName) override;
    void extensionsInitialized() override;
};
