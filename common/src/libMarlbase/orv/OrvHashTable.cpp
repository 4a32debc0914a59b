#include <orv/OrvOrderedHashTable.h>

namespace orv {

// --- _BucketBase ----------------------------------------------------------

_BucketBase::_BucketBase() : next(nullptr) {}
_BucketBase::~_BucketBase() = default;

// --- _HashTableRep --------------------------------------------------------

// The chains stay at the count given: tables here hold a few dozen keys, and
// longer chains only cost a few more compares.
_HashTableRep::_HashTableRep(unsigned int chainCount)
    : m_chains(nullptr), m_chainCount(chainCount ? chainCount : 1), m_count(0) {
    m_chains = new _BucketBase*[m_chainCount]();
}

_HashTableRep::~_HashTableRep() {
    for (unsigned int i = 0; i < m_chainCount; ++i) {
        _BucketBase* bucket = m_chains[i];
        while (bucket) {
            _BucketBase* const next = bucket->next;
            delete bucket;
            bucket = next;
        }
    }
    delete[] m_chains;
}

bool _HashTableRep::insert(unsigned int hash, _BucketBase* bucket, void const* key) {
    if (lookup(hash, key)) {
        delete bucket;
        return false;
    }
    _BucketBase*& chain = m_chains[hash % m_chainCount];
    bucket->next = chain;
    chain = bucket;
    ++m_count;
    return true;
}

_BucketBase* _HashTableRep::lookup(unsigned int hash, void const* key) {
    for (_BucketBase* bucket = m_chains[hash % m_chainCount]; bucket; bucket = bucket->next) {
        if (bucket->isEqualKey(key)) {
            return bucket;
        }
    }
    return nullptr;
}

_BucketBase const* _HashTableRep::lookup(unsigned int hash, void const* key) const {
    return const_cast<_HashTableRep*>(this)->lookup(hash, key);
}

unsigned int _HashTableRep::count() const {
    return m_count;
}

// --- String keys ----------------------------------------------------------

// FNV-1a over the UCS-2 units.
Uint32 HashFunc<String>::hash(String const& key) {
    Uint32 hash = 2166136261U;
    unsigned short const* units = key.getUCS2Buffer();
    for (Uint32 i = 0; i < key.size(); ++i) {
        hash = (hash ^ units[i]) * 16777619U;
    }
    return hash;
}

HashKeyMissing::HashKeyMissing(String const& key)
    : Exception("hash key missing: " + key.toUtf8()), m_key(key) {}
HashKeyMissing::HashKeyMissing(HashKeyMissing const& other) = default;
HashKeyMissing::~HashKeyMissing() = default;

String const& HashKeyMissing::key() const {
    return m_key;
}

}  // namespace orv
