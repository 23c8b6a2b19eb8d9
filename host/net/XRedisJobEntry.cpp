#include "host/net/XRedisJobEntry.h"

#include "host/net/XRedisKeys.h"

#include <charconv>
#include <string_view>

namespace
{
bool ParseNumber(std::string_view inText, std::uint32_t& outValue)
{
    const auto [end, error] =
        std::from_chars(inText.data(), inText.data() + inText.size(), outValue);
    return error == std::errc() && end == inText.data() + inText.size() && !inText.empty();
}

bool ParseDataHashes(std::string_view inText, std::map<std::uint32_t, std::string>& outHashes)
{
    while (!inText.empty())
    {
        const std::size_t comma = inText.find(',');
        const std::string_view item = inText.substr(0, comma);
        const std::size_t equals = item.find('=');
        std::uint32_t id = 0;
        if (equals == std::string_view::npos || !ParseNumber(item.substr(0, equals), id) ||
            item.size() - equals - 1 != 32)
        {
            return false;
        }
        outHashes[id] = std::string(item.substr(equals + 1));
        inText = comma == std::string_view::npos ? std::string_view() : inText.substr(comma + 1);
    }
    return true;
}
} // namespace

XRedisJobEntry XRedisJobEntry::Parse(const redisReply* inEntry)
{
    XRedisJobEntry entry;
    if (inEntry == nullptr || inEntry->type != REDIS_REPLY_ARRAY || inEntry->elements != 2 ||
        inEntry->element[0]->type != REDIS_REPLY_STRING)
    {
        entry.problem = "not a stream entry";
        return entry;
    }
    entry.entryID.assign(inEntry->element[0]->str, inEntry->element[0]->len);
    const redisReply* fields = inEntry->element[1];
    if (fields->type != REDIS_REPLY_ARRAY || fields->elements % 2 != 0)
    {
        entry.problem = "the entry has no fields";
        return entry;
    }
    bool hasJob = false;
    bool hasBody = false;
    for (std::size_t index = 0; index + 1 < fields->elements; index += 2)
    {
        const redisReply* name = fields->element[index];
        const redisReply* value = fields->element[index + 1];
        if (name->type != REDIS_REPLY_STRING || value->type != REDIS_REPLY_STRING)
        {
            continue;
        }
        const std::string_view key(name->str, name->len);
        const std::string_view text(value->str, value->len);
        if (key == XRedisKeys::kClientField)
        {
            entry.client = text;
        }
        else if (key == XRedisKeys::kJobField)
        {
            hasJob = ParseNumber(text, entry.jobID);
        }
        else if (key == XRedisKeys::kDataField && !ParseDataHashes(text, entry.dataHashes))
        {
            entry.problem =
                "malformed shared-data list \"" + std::string(text.substr(0, 80)) + "\"";
        }
        else if (key == XRedisKeys::kBodyField)
        {
            hasBody = true;
            if (text.size() <= XRedisKeys::kMaxJobBytes)
            {
                entry.body.assign(text.begin(), text.end());
            }
            else
            {
                entry.problem = "the job is " + std::to_string(text.size()) +
                                " bytes, more than the limit of " +
                                std::to_string(XRedisKeys::kMaxJobBytes);
            }
        }
    }
    if (entry.problem.empty() && (!hasJob || !hasBody || entry.client.empty()))
    {
        entry.problem = "the entry lacks its client, job id or body";
    }
    return entry;
}

std::string XRedisJobEntry::FormatDataHashes(const std::map<std::uint32_t, std::string>& inHashes)
{
    std::string text;
    for (const auto& [id, hash] : inHashes)
    {
        if (!text.empty())
        {
            text += ',';
        }
        text += std::to_string(id) + "=" + hash;
    }
    return text;
}
