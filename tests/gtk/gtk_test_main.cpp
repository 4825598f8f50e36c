// The GTK widget tests run under a virtual X server (xvfb-run); GTK is initialised once.
#include <gtest/gtest.h>
#include <gtk/gtk.h>

int main(int argc, char **argv) {
    testing::InitGoogleTest(&argc, argv);
    if (!gtk_init_check()) {
        fprintf(stderr, "no display: run the GTK tests under xvfb-run\n");
        return 1;
    }
    return RUN_ALL_TESTS();
}
