# The test programs that the ThreadSanitizer run builds and runs: those whose code queues work on other
# threads (queues, resource coordinators, bitmap loading, stroke fitting, opacity tests) or renders what
# such work produced. The sample renders drive the command line over every sample and format; they spend
# their time in codecs, run far too slowly instrumented, and queue nothing the suites below do not.
# Sourced by build.sh and test.sh.
MARQEN_TSAN_TARGETS=(test_foundation test_dom test_dom_bitmap test_dom_vector test_formats_resources
                     test_render_renderer test_ink)
