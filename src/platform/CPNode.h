// SPDX-License-Identifier: MIT
#pragma once

#include "platform/CValueMap.h"

#include <map>
#include <memory>

namespace KYVO {

/// Base of the pipeline nodes a host framework runs.
///
/// The host describes a node (Describe), hands it its parameters (Init), puts values on its
/// input stack, runs it (Execute) and takes the results from its output stack. Stack slots are
/// addressed by index (0, 1, ...); a slot may be empty. The node owns every value on its stacks
/// until the host takes an output away.
class CPNode {
public:
    CPNode();
    CPNode(const CPNode&) = delete;
    CPNode& operator=(const CPNode&) = delete;
    virtual ~CPNode();

    /// The node's parameters; the host may also add entries (such as its window handle) directly.
    CValueMap& Parameters() { return m_parameters; }
    const CValueMap& Parameters() const { return m_parameters; }

    /// Puts `owned` into input slot `index`, deleting what was there; null empties the slot.
    /// A negative index raises a CException (`owned` is deleted).
    void SetInput(int index, CValue* owned);
    /// The value in input slot `index`, or null when the slot is empty.
    const CValue* Input(int index) const;
    /// Takes the value out of input slot `index`; the caller owns it (null when empty).
    CValue* TakeInput(int index);
    /// One more than the highest filled input slot (0 when there are none).
    int InputCount() const;
    void ClearInputs();

    /// Puts `owned` into output slot `index`, as SetInput does.
    void SetOutput(int index, CValue* owned);
    /// The value in output slot `index`, or null when the slot is empty.
    const CValue* Output(int index) const;
    /// Takes the value out of output slot `index`; the caller owns it (null when empty).
    CValue* TakeOutput(int index);
    /// One more than the highest filled output slot (0 when there are none).
    int OutputCount() const;
    void ClearOutputs();

    /// Fills `description` with the node's self-description for the host. The base adds nothing.
    virtual void Describe(CValueMap* description) const;
    /// Reads the node's parameters. The base merges `parameters` (may be null) into Parameters(),
    /// replacing entries of the same key.
    virtual void Init(const CValueMap* parameters);
    /// Runs the node. The base does nothing.
    virtual void Execute();

private:
    using Stack = std::map<int, std::unique_ptr<CValue>>;
    static void put(Stack& stack, int index, CValue* owned, const char* which);
    static CValue* take(Stack& stack, int index);
    static const CValue* find(const Stack& stack, int index);
    static int count(const Stack& stack) { return stack.empty() ? 0 : stack.rbegin()->first + 1; }

    CValueMap m_parameters;
    Stack m_inputs;
    Stack m_outputs;
};

} // namespace KYVO
