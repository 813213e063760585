#pragma once

#include <QtTest/qtest.h>

#if defined(QT_WIDGETS_LIB)
#include <QApplication>
#define PELLMORA_TEST_APPLICATION QApplication
#elif defined(QT_GUI_LIB)
#include <QGuiApplication>
#define PELLMORA_TEST_APPLICATION QGuiApplication
#else
#define PELLMORA_TEST_APPLICATION QCoreApplication
#endif

// The test classes of one folder share one executable, which runs the class
// named by its first argument; ctest starts each class in a process of its
// own, so they stay as isolated as with an executable each.
namespace TestRegistry {

using Runner = int (*)(int argc, char **argv);

// Records a class's runner under its name; returns true so that it can
// initialise a static.
bool add(const char *name, Runner runner);

// Runs the class named by argv[1] with the remaining arguments.
int run(int argc, char **argv);

} // namespace TestRegistry

#define PELLMORA_TEST_WITH(TestClass, Application)                                    \
    static int pellmoraRun##TestClass(int argc, char **argv)                          \
    {                                                                                 \
        Application app(argc, argv);                                                  \
        app.setAttribute(Qt::AA_Use96Dpi, true);                                      \
        TestClass test;                                                               \
        QTest::setMainSourcePath(__FILE__);                                           \
        return QTest::qExec(&test, argc, argv);                                       \
    }                                                                                 \
    [[maybe_unused]] static const bool pellmoraRegistered##TestClass =               \
        TestRegistry::add(#TestClass, pellmoraRun##TestClass);

// The counterparts of QTEST_MAIN and QTEST_GUILESS_MAIN.
#define PELLMORA_TEST_MAIN(TestClass) PELLMORA_TEST_WITH(TestClass, PELLMORA_TEST_APPLICATION)
#define PELLMORA_TEST_GUILESS_MAIN(TestClass) PELLMORA_TEST_WITH(TestClass, QCoreApplication)
