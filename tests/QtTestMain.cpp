#include <gtest/gtest.h>

#include <QCoreApplication>

// Sockets, timers and processes need an application object on the thread that runs the cases.
int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    QCoreApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
