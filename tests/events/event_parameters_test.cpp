// What the commands on events refuse, and at which parameter.

#include "tests/events/events_support.h"

namespace libzepl {
namespace {

TEST(EventParameters, AnotherCodeOrPositionIsTold) {
    const std::pair<std::string, const char*> cases[] = {
        {"TAND t", "refused at 2"},
        {"TAND t t 0", "running"},
        {"TAND t -5", "refused at 2"},
        {"TAND t t t -1", "error code 6 at 4"},
        {"TAND t t 5l", "refused at 3"},
        {"TAND t t 5 t", "error code 3 at 3"},
        {"TAND t t 5 6 -7", "error code 6 at 5"},
        {"TAND" + repeated("t", 65) + " 5", "running"},
        {"TAND" + repeated("t", 66), "error code 9 at 66"},
        {"TAND" + repeated("t", 66) + " 5", "refused at 67"},
        {"TOR t", "refused at 2"},
        {"TOR t 5", "refused at 2"},
        {"TOR" + repeated("t", 66), "refused at 66"},
        {"TCOLLATE t t", "refused at 3"},
        {"TCOLLATE" + repeated("t", 18), "refused at 18"},
        {"TCOLLATE" + repeated("t", 16) + " l", "refused at 17"},
        {"NTH t 0 t", "error code 6 at 2"},
        {"NTH t -1l t", "error code 6 at 2"},
        {"NTH t v t", "refused at 2"},
        {"TGEN 0 t", "error code 6 at 1"},
        {"TGEN -5l t", "error code 6 at 1"},
        {"TRIGSCALE t -5 0 0 t", "error code 6 at 3"},
        {"TRIGSCALE t -5 1 0 t", "error code 6 at 4"},
        {"TRIGSCALE t 5 1l 1 t", "refused at 3"},
        {"FREQUENCY t 0 s", "error code 6 at 2"},
        {"FREQUENCY t -1l l", "error code 6 at 2"},
        {"FREQUENCY t 5 f", "refused at 3"},
        {"TSTAMP t d", "refused at 2"},
        {"TRIGSEND t 0 l", "error code 5 at 2"},
        {"TRIGSEND t 16777216l l", "running"},
        {"TRIGSEND t 16777217l l", "error code 5 at 2"},
        {"TRIGSEND t s", "refused at 2"},
        {"TRIGSEND t" + repeated("l", 32), "running"},
        {"TRIGSEND t" + repeated("l", 33), "error code 9 at 34"},
        {"TRIGSEND t 5" + repeated("l", 33), "refused at 35"},
        {"TRIGRECV s t", "refused at 1"},
        {"PCASSERT v t 0", "error code 6 at 3"},
        {"PCASSERT w t -1", "running"},
        {"PCASSERT 5 t", "refused at 1"},
        {"PCASSERT s t d", "running"},
        {"PCASSERT s t 5l", "refused at 3"},
        {"ALARM s 5 5 5 5", "error code 10 at 3"},
        {"ALARM s @0 5l 5l 5", "error code 10 at 3"},
        {"ALARM l @0 5l 5 5", "error code 10 at 4"},
        {"ALARM f @0 5f 5d 5", "error code 10 at 4"},
        {"ALARM d 1 @0 5f 5f 16", "error code 10 at 4"},
        {"ALARM d 1 @0 5d 5 16", "error code 10 at 5"},
        {"ALARM s 1 @0 5 5 16", "error code 5 at 5"},
        {"ALARM s 1 @0 5 5 -1", "error code 5 at 5"},
        {"ALARM s 1 @0 5 5", "error code 8 at 6"},
        {"ALARM s @0 5 5 16", "waiting"},
        {"ALARM s @0 5 5", "refused at 5"},
        {"TOGGLE s @0 1 1 @0 1 1 t", "waiting"},
        {"TOGGLE s @0 1 1 s @0 1 1 t", "waiting"},
        {"TOGGLE s @0 1 1 s @0 1 1", "error code 8 at 9"},
        {"TOGGLE s @0 1 1 s 1 1 1", "error code 8 at 9"},
        {"TOGGLE s @0 1 1 @0 @0 1 1", "error code 10 at 6"},
        {"TOGGLE s @0 1 1 @0 1 1 1", "error code 10 at 8"},
        {"TOGGLE s @0 1 1 @0 @0 1 t t", "error code 9 at 9"},
        {"TOGGLE s @0 1 1 s 1 1 t t", "error code 10 at 6"},
        {"TOGGLE s @0 1 1 s @0 1 t t", "error code 10 at 8"},
        {"TOGGLE s @0 1 1 @0 1 1", "refused at 8"},
        {"TOGGWT s t s", "waiting"},
        {"TOGGWT s t s 16384 \"FORMAT=STREAM l", "waiting"},
        {"TOGGWT s t s \"FORMAT=STREAM l l", "waiting"},  // one more than is used
        {"TOGGWT s t s 0", "error code 5 at 4"},
        {"TOGGWT s t s 16385 l", "error code 5 at 4"},
        {"TOGGWT s t s 1 l", "error code 8 at 5"},
        {"TOGGWT s t s \"none \"FORMAT=STREAM", "error code 10 at 5"},
        {"TOGGWT s t s l", "refused at 4"},
        {"TOGGWT s t s 9 \"FORMAT=STREAM \"FORMAT=STREAM", "refused at 6"},
    };
    for (const auto& [call, state] : cases) {
        TestSession session({.setUpOnly = true});
        addCall(session, call);
        EXPECT_EQ(statesOf(session.run())[0], state) << call;
    }
}

}  // namespace
}  // namespace libzepl
