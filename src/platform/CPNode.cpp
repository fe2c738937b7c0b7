// SPDX-License-Identifier: MIT
#include "platform/CPNode.h"

#include "platform/CException.h"

#include <string>

namespace KYVO {

CPNode::CPNode() = default;
CPNode::~CPNode() = default;

void CPNode::put(Stack& stack, int index, CValue* owned, const char* which) {
    std::unique_ptr<CValue> value(owned);
    if (index < 0)
        KYVO_THROW(std::string("CPNode: ") + which + " index " + std::to_string(index) + " is negative");
    const auto it = stack.find(index);
    if (it != stack.end() && it->second.get() == owned) {
        // Putting back the value that is already in the slot must not delete it.
        value.release();
        return;
    }
    if (!value) {
        if (it != stack.end())
            stack.erase(it);
        return;
    }
    stack[index] = std::move(value);
}

CValue* CPNode::take(Stack& stack, int index) {
    const auto it = stack.find(index);
    if (it == stack.end())
        return nullptr;
    CValue* value = it->second.release();
    stack.erase(it);
    return value;
}

const CValue* CPNode::find(const Stack& stack, int index) {
    const auto it = stack.find(index);
    return it == stack.end() ? nullptr : it->second.get();
}

void CPNode::SetInput(int index, CValue* owned) {
    put(m_inputs, index, owned, "input");
}
const CValue* CPNode::Input(int index) const {
    return find(m_inputs, index);
}
CValue* CPNode::TakeInput(int index) {
    return take(m_inputs, index);
}
int CPNode::InputCount() const {
    return count(m_inputs);
}
void CPNode::ClearInputs() {
    m_inputs.clear();
}

void CPNode::SetOutput(int index, CValue* owned) {
    put(m_outputs, index, owned, "output");
}
const CValue* CPNode::Output(int index) const {
    return find(m_outputs, index);
}
CValue* CPNode::TakeOutput(int index) {
    return take(m_outputs, index);
}
int CPNode::OutputCount() const {
    return count(m_outputs);
}
void CPNode::ClearOutputs() {
    m_outputs.clear();
}

void CPNode::Describe(CValueMap* description) const {}

void CPNode::Init(const CValueMap* parameters) {
    if (parameters)
        m_parameters.Merge(*parameters);
}

void CPNode::Execute() {}

} // namespace KYVO
