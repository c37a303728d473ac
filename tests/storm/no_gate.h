// Stands in for src/writer_gate.h, by its include guard, in a library that shows what the gate is
// for.
#ifndef TARQLOG_SRC_WRITER_GATE_H_
#define TARQLOG_SRC_WRITER_GATE_H_

namespace tarqlog {

/// Lets everybody through at any time.
class WriterGate {
public:
    void StepAside() {}
    void Enter() {}
    void Leave() {}
    void BeginAnew() {}

    class Passage {
    public:
        explicit Passage(WriterGate& /*gate*/) {}
        ~Passage() {}  // not trivial, so that nobody calls it unused
    };
};

}  // namespace tarqlog

#endif  // TARQLOG_SRC_WRITER_GATE_H_
