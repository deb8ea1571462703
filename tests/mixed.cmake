# Two processes on one file set, driven step by step. Within one build both are the same program; ./test --all lets
# the driver start the worker of a 64-bit and that of a 32-bit build.
add_executable(mixed_worker project/mixed/worker.cpp)
target_link_libraries(mixed_worker PRIVATE test_settings isam_shared)
isam_warnings(mixed_worker RELAXED)

add_executable(mixed_driver project/mixed/driver.cpp)
target_link_libraries(mixed_driver PRIVATE test_settings)
isam_warnings(mixed_driver RELAXED)

add_test(NAME "${ISAM_TEST_PREFIX}project/TwoWorkersShareAFile"
    COMMAND mixed_driver $<TARGET_FILE:mixed_worker> $<TARGET_FILE:mixed_worker>)
set_tests_properties("${ISAM_TEST_PREFIX}project/TwoWorkersShareAFile" PROPERTIES TIMEOUT 120)
