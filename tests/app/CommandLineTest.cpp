// SPDX-License-Identifier: MIT
#include "app/CommandLine.h"

#include "support/TestSupport.h"

#include <gtest/gtest.h>

using pxm::sortArguments;

TEST(CommandLine, SortsPositionalArgumentsIntoProjectsAndImages) {
    QStringList eleven;
    for (int i = 0; i < 11; ++i)
        eleven << QString("p%1.json").arg(i);

    const struct {
        const char* name;
        QStringList arguments;
        QStringList projects;
        QStringList images;
        bool newProject;
    } cases[] = {
        {"no arguments", {}, {}, {}, true},
        {"only a project", {"a.json"}, {"a.json"}, {}, false},
        {"project and image", {"a.json", "b.png"}, {"a.json"}, {"b.png"}, true},
        {"eleven projects", eleven, eleven.mid(0, 10), {}, false},
        {"tiff matches .tif and .tiff", {"scan.tiff"}, {}, {"scan.tiff", "scan.tiff"}, true},
        {"okav.gz matches .okav and .okav.gz", {"a.okav.gz"}, {}, {"a.okav.gz", "a.okav.gz"}, true},
        {"upper case and unknown endings", {"scan.PNG", "notes.txt"}, {}, {}, true},
        {"marker anywhere in the name", {"x.json.bak", "a.json.gz"}, {"x.json.bak", "a.json.gz"}, {}, false},
        // Images are collected ending by ending, so the table's order wins over the argument order.
        {"table order", {"c.png", "b.jpg", "a.ppm"}, {}, {"a.ppm", "b.jpg", "c.png"}, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const pxm::CommandLineFiles files = sortArguments(c.arguments);
        EXPECT_EQ(files.projects, c.projects);
        EXPECT_EQ(files.images, c.images);
        EXPECT_EQ(files.opensNewProject(), c.newProject);
    }
    EXPECT_EQ(pxm::imageExtensions().size(), 17);
}
