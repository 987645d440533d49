// Runs @COMMAND@ on samples that arrive in random pieces.

#include <zepl/session.h>

#include <cstdio>

using namespace libzepl;

int main(int count, char** words) {
    if (count != 2) return 2;
    CommandLibrary library;
    library.load(words[1]);
    for (std::uint64_t seed = 0; seed < 20; ++seed) {
        Session session(library, {.feed = {.kind = FeedPolicy::Kind::random, .seed = seed}});
        const PipeId source = session.addPipe({.name = "source", .type = ElementType::float32});
        const PipeId dest = session.addPipe({.name = "dest", .type = ElementType::float32});
        session.feed<float>(source, {-2, 0, 0.5F, 3});
        session.collect(dest);
        session.addTask(
            {.command = "@COMMAND@", .arguments = {session.use(source), floatConstant(1.5F), session.use(dest)}});
        session.run();
        if (session.collected<float>(dest) == std::vector<float>{-3, 0, 0.75F, 4.5F}) continue;
        std::printf("@COMMAND@ is wrong where samples arrive by seed %llu\n", static_cast<unsigned long long>(seed));
        return 1;
    }
    return 0;
}
