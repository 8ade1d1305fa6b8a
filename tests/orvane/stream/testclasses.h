// Classes to be written and read as chunks.

#ifndef ORVANE_TESTS_STREAM_TESTCLASSES_H
#define ORVANE_TESTS_STREAM_TESTCLASSES_H

#include <memory>
#include <string>
#include <vector>

#include "orvane/object/classrecord.h"
#include "orvane/object/iserializable.h"
#include "orvane/stream/cbstreamreadbinary.h"
#include "orvane/stream/cbstreamwritebinary.h"

/// Counts the objects that live.
class CCounted
{
public:
    CCounted()
    {
        ++s_instances;
    }

    CCounted(CCounted const&)
    {
        ++s_instances;
    }

    CCounted& operator=(CCounted const&) = default;

    ~CCounted()
    {
        --s_instances;
    }

    static inline int s_instances = 0;
};

/// A number and two texts.
class CGoldenEntry : public ISerializable
{
    CB_DECLARE_CLASS(CGoldenEntry);

public:
    CGoldenEntry() = default;

    CGoldenEntry(int number, std::wstring title, std::string note)
        : m_number(number),
          m_title(std::move(title)),
          m_note(std::move(note))
    {
    }

    void Serialize(CbStreamWriteBinary& stream) const override
    {
        stream.WriteVersion(1);
        stream << m_number << m_title << m_note;
    }

    void Serialize(CbStreamReadBinary& stream) override
    {
        stream.ReadAndCompareVersion(1);
        stream >> m_number >> m_title >> m_note;
    }

    int m_number = 0;
    std::wstring m_title;
    std::string m_note;
    CCounted m_counted;
};

/// A title and objects of any class; a null pointer stands for one that could not be read.
class CGoldenFolder : public ISerializable
{
    CB_DECLARE_CLASS(CGoldenFolder);

public:
    CGoldenFolder() = default;

    CGoldenFolder(CGoldenFolder const& other) : m_title(other.m_title)
    {
    }

    void Serialize(CbStreamWriteBinary& stream) const override
    {
        stream.WriteVersion(2);
        stream << m_title << static_cast<unsigned int>(m_children.size());
        for (auto const& child : m_children)
        {
            if (child != nullptr)
            {
                stream.WriteChunk(*child);
            }
        }
    }

    // Takes one child after the other, so that a damaged count costs no memory.
    void Serialize(CbStreamReadBinary& stream) override
    {
        stream.ReadAndCompareVersion(2);
        unsigned int count = 0;
        stream >> m_title >> count;
        for (unsigned int i = 0; i < count; ++i)
        {
            m_children.emplace_back(stream.ReadChunk());
        }
    }

    std::wstring m_title;
    std::vector<std::unique_ptr<ISerializable>> m_children;
    CCounted m_counted;
};

#endif // ORVANE_TESTS_STREAM_TESTCLASSES_H
