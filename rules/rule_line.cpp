// Splitting and checking rule lines (see rule_line.h).
#include "rules/rule_line.h"

#include <cstring>

#include "rules/expression.h"

namespace {

// Position of the first backslash at or after `from` outside double quotes,
// or npos; `unclosed` tells whether the text ended inside quotes.
size_t sentence_end(const std::string &text, size_t from, bool &unclosed)
{
    bool inQuotes = false;
    for (size_t i = from; i < text.size(); ++i) {
        if (text[i] == '"')
            inQuotes = !inQuotes;
        else if (text[i] == '\\' && !inQuotes)
            return i;
    }
    unclosed = inQuotes;
    return std::string::npos;
}

std::string without_line_end(const char *line)
{
    std::string text = line;
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r'))
        text.pop_back();
    return text;
}

std::string trim_action(std::string action)
{
    size_t end = action.find_last_not_of("\r\n \t");
    action.erase(end == std::string::npos ? 0 : end + 1);
    return action;
}

} // namespace

const char *RuleLineMessage(RuleLineError error)
{
    switch (error) {
    case RULE_LINE_NO_NAME:
        return "No Rule Name Error!";
    case RULE_LINE_NO_TYPE:
        return "No Mail Type Error!";
    case RULE_LINE_BAD_TYPE:
        return "Mail Type Error!";
    case RULE_LINE_NO_SENTENCE:
        return "No Sentence Error!";
    case RULE_LINE_BAD_SENTENCE:
        return "Sentence Syntax Error!";
    case RULE_LINE_NO_ACTION:
        return "No Action Error!";
    case RULE_LINE_BAD_ACTION:
        return "Action Error!";
    default:
        return "";
    }
}

RuleLineError SplitRuleLine(const char *line, RuleLineFields &fields)
{
    fields = RuleLineFields();
    if (!line || line[0] == '\0')
        return RULE_LINE_EMPTY;
    const std::string text = without_line_end(line);
    if (text.empty())
        return RULE_LINE_EMPTY;

    size_t nameEnd = text.find('\\');
    if (nameEnd == std::string::npos)
        return RULE_LINE_NO_NAME;
    fields.name = text.substr(0, nameEnd);

    size_t typeEnd = text.find('\\', nameEnd + 1);
    if (typeEnd == std::string::npos)
        return RULE_LINE_NO_TYPE;
    fields.type = text.substr(nameEnd + 1, typeEnd - nameEnd - 1);
    CExpression probe;
    if (!probe.ParseMailType(fields.type.c_str(), false))
        return RULE_LINE_BAD_TYPE;

    size_t sentenceStart = typeEnd + 1;
    bool unclosed = false;
    size_t end = sentence_end(text, sentenceStart, unclosed);
    fields.sentence = text.substr(sentenceStart, end == std::string::npos ? std::string::npos
                                                                           : end - sentenceStart);
    // A backslash must end the sentence; an empty sentence before it is a
    // sentence that does not parse.
    if (unclosed || (end == std::string::npos && fields.sentence.empty()))
        return RULE_LINE_NO_SENTENCE;
    if (end != std::string::npos) {
        fields.hasAction = true;
        size_t actionEnd = text.find('\\', end + 1);
        fields.action = trim_action(text.substr(
            end + 1, actionEnd == std::string::npos ? std::string::npos : actionEnd - end - 1));
    }
    return RULE_LINE_OK;
}

RuleLineError CheckRuleLine(const char *line, bool checkAction)
{
    RuleLineFields fields;
    RuleLineError error = SplitRuleLine(line, fields);
    if (error != RULE_LINE_OK)
        return error;
    CExpression probe;
    if (!probe.ParseExpression(fields.sentence.c_str(), false))
        return RULE_LINE_BAD_SENTENCE;
    if (!fields.hasAction || fields.action.empty())
        return RULE_LINE_NO_ACTION;
    if (checkAction && !probe.ParseAction(fields.action.c_str(), false))
        return RULE_LINE_BAD_ACTION;
    return RULE_LINE_OK;
}
