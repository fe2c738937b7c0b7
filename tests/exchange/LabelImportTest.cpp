// SPDX-License-Identifier: MIT
#include "exchange/LabelImport.h"

#include "exchange/ExchangeTestSupport.h"

using namespace pxm;
using pxmtest::TempDir;

namespace {

/// Every property of every label (see labelText), so a test sees any change.
QStringList fullState(const Project& project) {
    QStringList lines;
    for (const Label* l : project.labels())
        lines << pxmtest::labelText(l);
    return lines;
}

class LabelImportTest : public ::testing::Test {
protected:
    void SetUp() override {
        cell = pxmtest::addLabel(project, "cell", 11, 1, QColor("#00ff00"));
        cell->setPrimaryOpacity(0.4);
        pxmtest::addLabel(project, "nucleus", 12, 2, QColor("#0000ff"));
        project.undoStack()->clear();
    }
    LabelImport::Plan planText(const QByteArray& text, const QString& name) {
        pxmtest::writeFile(dir.path(name), text);
        return LabelImport::planFile(&project, dir.path(name));
    }
    Project project;
    Label* cell = nullptr;
    TempDir dir;
};

} // namespace

TEST_F(LabelImportTest, FilesWrittenByOtherToolsGiveTheSameLabels) {
    // The same three labels as a spreadsheet writes them (BOM, CRLF, quoted fields, a quoted
    // comma-separated colour, a name with a comma and doubled quotes, trailing empty cells),
    // as a semicolon spreadsheet with decimal commas, as a tab-separated export, and as JSON.
    const QByteArray spreadsheet = "\xEF\xBB\xBF"
                                   "Name,Colour,Mask ID,ID,Opacity,Secondary Opacity,Pen Width,,\r\n"
                                   "cell,\"255,0,0\",1,11,0.5,0.25,0.3,,\r\n"
                                   "\"tumour, \"\"grade 2\"\"\",#00ff00,5,77,,,,,\r\n"
                                   ",,,,,,,,\r\n"
                                   "\"vessel\nwall\",\"0, 0, 255\",6,,,,,,\r\n";
    const QByteArray semicolons = "name;color;maskId;id;opacity;secondaryOpacity;penWidth\n"
                                  "cell;#ff0000;1;11;0,5;0,25;0,3\n"
                                  "\"tumour, \"\"grade 2\"\"\";#00ff00;5;77;;;\n"
                                  "\"vessel\nwall\";#0000ff;6;;;;\n";
    const QByteArray tabs = "name\tred\tgreen\tblue\tmask_id\tid\topacity\tsecondary_opacity\tpen_width\n"
                            "cell\t255\t0\t0\t1\t11\t0.5\t0.25\t0.3\n"
                            "\"tumour, \"\"grade 2\"\"\"\t0\t255\t0\t5\t77\t\t\t\n"
                            "\"vessel\nwall\"\t0\t0\t255\t6\t\t\t\t\n";
    const QByteArray json = R"([
  {"name": "cell", "color": {"red": 255, "green": 0, "blue": 0, "alpha": 255}, "maskId": 1, "id": 11,
   "opacity": 0.5, "secondaryOpacity": 0.25, "penWidth": 0.3},
  {"name": "tumour, \"grade 2\"", "color": "#00ff00", "mask_id": 5, "id": 77},
  {"name": "vessel\nwall", "colour": [0, 0, 255], "maskId": 6}
])";
    const QStringList expected = {"cell #ffff0000 0.5 0.25 0.3 11 1",
                                  "tumour, \"grade 2\" #ff00ff00 0.7 0.3 0.5 77 5",
                                  "vessel\nwall #ff0000ff 0.7 0.3 0.5 * 6"};
    int run = 0;
    for (const QByteArray& text : {spreadsheet, semicolons, tabs, json}) {
        SCOPED_TRACE(run);
        Project target;
        pxmtest::addLabel(target, "cell", 11, 1, QColor("#00ff00"));
        target.undoStack()->clear();
        const QString name = QString("labels%1.%2").arg(run++).arg(text == json ? "json" : "csv");
        pxmtest::writeFile(dir.path(name), text);
        const LabelImport::Plan plan = LabelImport::planFile(&target, dir.path(name));
        ASSERT_TRUE(plan.ok()) << plan.error.toStdString();
        EXPECT_TRUE(plan.conflicts.isEmpty()) << plan.conflicts.join('\n').toStdString();
        EXPECT_EQ(QString("%1 new, %2 updated").arg(plan.newLabels()).arg(plan.updatedLabels()),
                  "2 new, 1 updated");
        ASSERT_TRUE(LabelImport::apply(&target, plan) && target.undoStack()->count() == 1);
        QStringList state = fullState(target);
        // The label without an id in the file gets a random one.
        ASSERT_EQ(state.size(), 3);
        EXPECT_NE(target.labels()[2]->id(), 0);
        state[2].replace(QString(" %1 ").arg(target.labels()[2]->id()), " * ");
        EXPECT_EQ(state, expected);
    }
    // Excel's own CSV: a separator line, Windows-1252 text, decimal commas.
    Project target;
    pxmtest::writeFile(dir.path("excel.csv"),
                       "sep=;\r\nName;Colour;Opacity\r\nZelle \xe4;0,128,255;0,25\r\n");
    ASSERT_TRUE(LabelImport::apply(&target, LabelImport::planFile(&target, dir.path("excel.csv"))));
    EXPECT_EQ(fullState(target)[0].section(' ', 0, -3),
              QString::fromUtf8("Zelle \u00e4 #ff0080ff 0.25 0.3 0.5"));
}

TEST_F(LabelImportTest, MalformedFilesNameTheLineAndChangeNothing) {
    struct Case {
        const char* name;
        QByteArray text;
        QString message;
    } cases[] = {
        {"a.csv", "name,color\ncell,#ff0000\ndust,purple-ish\n", "Line 3: the colour 'purple-ish'"},
        {"b.csv", "name,maskId\ncell,1\n\ndust,300\n", "Line 4: the mask id 300 is not between 1 and 255"},
        {"c.csv", "name,opacity\ncell,70\n", "Line 2: the opacity 70 is not between 0 and 1"},
        {"d.csv", "name,id\ncell,1.5\n", "Line 2: the id 1.5 is not a whole number"},
        {"e.csv", "name,color\n\"cell,#ff0000\n", "Line 2: a quoted field is not closed"},
        {"f.csv", "name,color\ncell,#ff0000,1\n", "Line 2: the row has 3 fields"},
        {"g.csv", "colour,maskId\n#ff0000,1\n", "Line 1: the header row has no 'name' column"},
        {"h.csv", "name\ncell\n\"a\nb\"\ncell\n",
         "Line 5: the label 'cell' is defined twice (first on line 2)"},
        {"i.csv", "name,id\n,4\n", "Line 2: the label has no name"},
        {"j.json", "[\n  {\"name\": \"a\"},\n  {\"name\": \"b\", \"maskId\": \"x\"}\n]",
         "Line 3: the mask id is not a number"},
        {"k.json", "{\"labels\": [\n{\"name\": \"a\"},\n\n{\"nom\": \"b\"}]}",
         "Line 4: the label has no \"name\" text"},
        {"l.json", "[\n{\"name\": \"a\"},\n{\"name\": \"b\",}\n]", "Line 3: the file is not valid JSON"},
        {"m.json", "{\"images\": []}", "Line 1: expected a list of labels"},
        {"n.json", "[{\"name\": \"a\", \"id\": 5}, {\"name\": \"b\", \"id\": 5}]",
         "Line 1: the id 5 is given to two labels"},
        {"o.json", "[{\"name\": \"a\", \"color\": {\"red\": 300, \"green\": 0, \"blue\": 0}}]",
         "Line 1: the colour needs"},
        // Excel's separator line counts as a line.
        {"p.csv", "sep=;\r\nName;Colour;Opacity\r\nZelle \xe4;0,128,255;0,25\r\nKern;#zz;\r\n",
         "Line 4: the colour '#zz' is neither #rrggbb nor r,g,b."},
    };
    const QStringList before = fullState(project);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const LabelImport::Plan plan = planText(c.text, c.name);
        EXPECT_TRUE(!plan.ok() && plan.error.startsWith(c.message)) << plan.error.toStdString();
        EXPECT_FALSE(LabelImport::apply(&project, plan));
        EXPECT_TRUE(fullState(project) == before && project.undoStack()->count() == 0);
    }
    EXPECT_TRUE(
        LabelImport::planFile(&project, dir.path("absent.csv")).error.contains("could not be opened"));
}

TEST_F(LabelImportTest, ConflictsAreListedAndResolvedWithoutBreakingIdentities) {
    const LabelImport::Plan plan = planText("name,maskId,id\n"
                                            "debris,2,11\n" // mask id of "nucleus", id of "cell"
                                            "cell,1,500\n"  // same name, another id: cell keeps 11
                                            "dust,,12\n",   // id of "nucleus"
                                            "conflicts.csv");
    ASSERT_TRUE(plan.ok());
    ASSERT_EQ(plan.conflicts.size(), 4) << plan.conflicts.join('\n').toStdString();
    EXPECT_TRUE(plan.conflicts[0].contains("'debris' (line 2): the id 11 belongs to the label 'cell'"));
    EXPECT_TRUE(plan.conflicts[1].contains("the mask id 2 is also used by 'nucleus'"));
    EXPECT_TRUE(plan.conflicts[2].contains("'cell' (line 3): the file gives the id 500"));
    EXPECT_TRUE(plan.conflicts[3].contains("'dust' (line 4): the id 12 belongs to the label 'nucleus'"));
    const QStringList before = fullState(project);
    ASSERT_TRUE(LabelImport::apply(&project, plan));
    EXPECT_EQ(cell->id(), 11);
    const Label* debris = project.labelByName("debris");
    const Label* dust = project.labelByName("dust");
    ASSERT_TRUE(debris && dust);
    EXPECT_TRUE(debris->id() != 11 && dust->id() != 12);
    EXPECT_EQ(QList<int>({debris->maskId(), dust->maskId()}), QList<int>({2, 3}))
        << "a shared mask id is allowed; else the lowest mask id no label uses";
    project.undoStack()->undo();
    EXPECT_EQ(fullState(project), before);
}

TEST_F(LabelImportTest, UpdatesAreOneStepAndUndoRestoresEveryProperty) {
    const LabelImport::Plan plan = planText(
        "name,color,opacity,secondary opacity,pen width,mask id\ncell,#ff00ff,0.9,0.1,0.2,4\n", "u.csv");
    ASSERT_TRUE(plan.ok() && plan.changes.size() == 1);
    EXPECT_EQ(plan.changes[0].properties,
              QStringList({"colour", "opacity", "secondary opacity", "pen width", "mask id"}));
    const QStringList before = fullState(project);
    ASSERT_TRUE(LabelImport::apply(&project, plan));
    EXPECT_EQ(fullState(project)[0], "cell #ffff00ff 0.9 0.1 0.2 11 4");
    EXPECT_EQ(project.undoStack()->count(), 1);
    project.undoStack()->undo();
    EXPECT_EQ(fullState(project), before) << "the border opacity 0.4 survives the colour's undo";
    project.undoStack()->redo();
    EXPECT_EQ(fullState(project)[0], "cell #ffff00ff 0.9 0.1 0.2 11 4");

    // The same file again changes nothing and pushes nothing.
    const LabelImport::Plan again = LabelImport::planFile(&project, dir.path("u.csv"));
    EXPECT_FALSE(again.changesAnything() || LabelImport::apply(&project, again));
    EXPECT_EQ(project.undoStack()->count(), 1);
}
