#include "typeregistry/cbrtti.h"

#include <atomic>
#include <cstddef>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <string_view>
#include <vector>

// The names and who stands for them.
//
// Look-ups take no lock, so that threads that create objects by name do not slow each other down. This rests on two
// rules. A name that was registered once is never freed: its entry stays when the last record of the name goes, and
// serves the next one. And a look-up reads nothing of a record: the answers (record, create, clone) are copied into the
// entry, where the writers, one at a time under the lock, exchange them.
class CbRTTIRegistry
{
public:
    // The registry is never destroyed: records of other modules come and go before and after this module's statics.
    static CbRTTIRegistry& instance()
    {
        static CbRTTIRegistry& s_instance = *new CbRTTIRegistry;
        return s_instance;
    }

    struct SName
    {
        explicit SName(std::wstring_view text, std::size_t textHash) : name(text), hash(textHash)
        {
        }

        const std::wstring name;
        const std::size_t hash;
        // The oldest record and its functions; null while the name has no record. Released by the writers, acquired by
        // the look-ups: who sees the record sees it constructed.
        std::atomic<CbRTTI*> first{nullptr};
        std::atomic<CbRTTI::FnCreate> create{nullptr};
        std::atomic<CbRTTI::FnClone> clone{nullptr};
        CbRTTI* last = nullptr; // the youngest record; guarded by m_lock
    };

    // The entry of a name, or null where it was never registered.
    SName* find(std::wstring_view name) const
    {
        // Pairs with the release in grow: the table is seen filled.
        const STable* table = m_table.load(std::memory_order_acquire);
        return table ? table->find(name, hashOf(name)) : nullptr;
    }

    void add(CbRTTI& record)
    {
        const std::scoped_lock guard(m_lock);
        SName& entry = findOrAdd(record.m_name);
        if (entry.last)
        {
            entry.last->m_nextOfName = &record;
        }
        else
        {
            setFirst(entry, &record);
        }
        entry.last = &record;
    }

    void remove(CbRTTI& record)
    {
        const std::scoped_lock guard(m_lock);
        SName& entry = *find(record.m_name);
        CbRTTI* before = nullptr;
        for (CbRTTI* each = entry.first.load(std::memory_order_relaxed); each != &record; each = each->m_nextOfName)
        {
            before = each;
        }
        if (before)
        {
            before->m_nextOfName = record.m_nextOfName;
        }
        else
        {
            setFirst(entry, record.m_nextOfName);
        }
        if (entry.last == &record)
        {
            entry.last = before;
        }
    }

private:
    // Open addressing, never more than half full, so that a search ends at an empty slot.
    struct STable
    {
        explicit STable(std::size_t size) : slots(size)
        {
        }

        SName* find(std::wstring_view name, std::size_t hash) const
        {
            for (std::size_t n = hash;; ++n)
            {
                // Pairs with the release in put: the entry is seen constructed.
                SName* entry = slots[n & (slots.size() - 1)].load(std::memory_order_acquire);
                if (!entry || (entry->hash == hash && entry->name == name))
                {
                    return entry;
                }
            }
        }

        void put(SName* entry)
        {
            std::size_t n = entry->hash;
            while (slots[n & (slots.size() - 1)].load(std::memory_order_relaxed))
            {
                ++n;
            }
            slots[n & (slots.size() - 1)].store(entry, std::memory_order_release);
        }

        std::vector<std::atomic<SName*>> slots; // a power of two of them
        std::unique_ptr<STable> previous;       // outgrown, but a look-up may still be in it
    };

    static constexpr std::size_t c_FirstTableSize = 1024;

    static std::size_t hashOf(std::wstring_view name)
    {
        return std::hash<std::wstring_view>()(name);
    }

    // Expects m_lock.
    static void setFirst(SName& entry, CbRTTI* record)
    {
        entry.create.store(record ? record->m_create : nullptr, std::memory_order_release);
        entry.clone.store(record ? record->m_clone : nullptr, std::memory_order_release);
        entry.first.store(record, std::memory_order_release);
    }

    // Expects m_lock. Where memory runs out nothing has changed.
    SName& findOrAdd(std::wstring_view name)
    {
        if (SName* known = find(name))
        {
            return *known;
        }
        auto entry = std::make_unique<SName>(name, hashOf(name));
        STable* table = m_table.load(std::memory_order_relaxed);
        if (!table || (m_nameCount + 1) * 2 > table->slots.size())
        {
            table = grow(table);
        }
        table->put(entry.get());
        ++m_nameCount;
        return *entry.release();
    }

    // Expects m_lock. The outgrown tables stay: all of them together are smaller than the one in use.
    STable* grow(STable* outgrown)
    {
        auto table = std::make_unique<STable>(outgrown ? outgrown->slots.size() * 2 : c_FirstTableSize);
        if (outgrown)
        {
            for (const auto& slot : outgrown->slots)
            {
                if (SName* entry = slot.load(std::memory_order_relaxed))
                {
                    table->put(entry);
                }
            }
        }
        table->previous.reset(outgrown);
        m_table.store(table.get(), std::memory_order_release);
        return table.release();
    }

    std::mutex m_lock;
    std::atomic<STable*> m_table{nullptr}; // exchanged under m_lock
    std::size_t m_nameCount = 0;           // guarded by m_lock
};

namespace
{
const wchar_t* checkedName(const wchar_t* name)
{
    if (!name)
    {
        throw std::invalid_argument("CbRTTI: a class record needs a name");
    }
    return name;
}

CbRTTIRegistry::SName* findName(const wchar_t* name)
{
    return name ? CbRTTIRegistry::instance().find(name) : nullptr;
}
} // namespace

CbRTTI::CbRTTI(const wchar_t* name, const CbRTTI& parent, FnCreate create, FnClone clone)
    : m_name(checkedName(name)),
      m_parent(&parent),
      m_create(create),
      m_clone(clone),
      m_nextOfName(nullptr)
{
    CbRTTIRegistry::instance().add(*this);
}

CbRTTI::CbRTTI(const wchar_t* name, FnCreate create, FnClone clone)
    : m_name(checkedName(name)),
      m_parent(nullptr),
      m_create(create),
      m_clone(clone),
      m_nextOfName(nullptr)
{
    CbRTTIRegistry::instance().add(*this);
}

CbRTTI::~CbRTTI()
{
    CbRTTIRegistry::instance().remove(*this);
}

const wchar_t* CbRTTI::GetName() const
{
    return m_name.c_str();
}

const CbRTTI* CbRTTI::GetParent() const
{
    return m_parent;
}

CbRTTI::FnCreate CbRTTI::GetCreate() const
{
    return m_create;
}

CbRTTI::FnClone CbRTTI::GetClone() const
{
    return m_clone;
}

bool CbRTTI::IsKindOf(const CbRTTI& record) const
{
    for (const CbRTTI* each = this; each; each = each->m_parent)
    {
        if (each == &record)
        {
            return true;
        }
    }
    return false;
}

const CbRTTI* CbRTTI::Find(const wchar_t* name)
{
    const auto* entry = findName(name);
    return entry ? entry->first.load(std::memory_order_acquire) : nullptr;
}

CbRTTI::FnCreate CbRTTI::getCreate(const wchar_t* name)
{
    const auto* entry = findName(name);
    return entry ? entry->create.load(std::memory_order_acquire) : nullptr;
}

CbRTTI::FnClone CbRTTI::getClone(const wchar_t* name)
{
    const auto* entry = findName(name);
    return entry ? entry->clone.load(std::memory_order_acquire) : nullptr;
}
