#pragma once
// orv::OrderedHashTable<K,V,Eq,Hash>: a map that remembers insertion order.
// Lookup by key goes through a hash table of key to position; walking goes
// over plain arrays of keys and values in the order of first insertion.
// There is no removal, so positions never change.
//
//   OrderedHashTable<String, Card, EqualFunc<String>, HashFunc<String>> cards;
//   if (!cards.contains(path)) cards.insert(path, Card(path));
//   for (Uint32 i = 0; i < cards.size(); ++i) use(cards[i]);
//
// Keys compare with Eq (for String: operator==, so case matters). A missing
// key in operator[](key) throws HashKeyMissing; a position out of range stops
// the process with "index < size()".
#include <orv/OrvArray.h>
#include <orv/OrvException.h>
#include <orv/OrvExport.h>
#include <orv/OrvString.h>
#include <orv/OrvTypes.h>

namespace orv {

// The link of a hash chain. The key is seen only as void const*, so each
// bucket tests equality itself.
class ORV_API _BucketBase {
public:
    _BucketBase();
    virtual ~_BucketBase();
    // True when the pointed-to key equals the bucket's key.
    virtual bool isEqualKey(void const* key) const = 0;
    virtual _BucketBase* clone() const = 0;

    _BucketBase* next;

    _BucketBase(_BucketBase const&) = delete;
    _BucketBase& operator=(_BucketBase const&) = delete;

private:
};

template <class K, class T, class Eq>
class _Bucket : public _BucketBase {
public:
    _Bucket(K const& key, T const& value) : m_key(key), m_value(value) {}

    bool isEqualKey(void const* key) const override { return Eq::equal(*static_cast<K const*>(key), m_key); }
    _BucketBase* clone() const override { return new _Bucket(m_key, m_value); }

    K const& key() const { return m_key; }
    T& value() { return m_value; }
    T const& value() const { return m_value; }

private:
    K m_key;
    T m_value;
};

// Buckets filed by hash value in chains. Owns every bucket it was given.
class ORV_API _HashTableRep {
public:
    explicit _HashTableRep(unsigned int chainCount);
    ~_HashTableRep();

    // Takes the bucket over and files it under the hash; false (and the
    // bucket deleted) when a bucket with an equal key is there already.
    bool insert(unsigned int hash, _BucketBase* bucket, void const* key);
    _BucketBase* lookup(unsigned int hash, void const* key);
    _BucketBase const* lookup(unsigned int hash, void const* key) const;

    unsigned int count() const;

    _HashTableRep(_HashTableRep const&) = delete;
    _HashTableRep& operator=(_HashTableRep const&) = delete;

private:
    _BucketBase** m_chains;
    unsigned int m_chainCount;
    unsigned int m_count;
};

template <class K>
struct EqualFunc;

template <>
struct EqualFunc<String> {
    static bool equal(String const& left, String const& right) { return left == right; }
};

template <class K>
struct HashFunc;

template <>
struct ORV_API HashFunc<String> {
    static Uint32 hash(String const& key);
};

// Thrown by OrderedHashTable::operator[](key) for a key that is not there.
class ORV_API HashKeyMissing : public Exception {
public:
    explicit HashKeyMissing(String const& key);
    HashKeyMissing(HashKeyMissing const& other);
    ~HashKeyMissing() override;

    String const& key() const;

private:
    String m_key;
};

template <class K, class T, class Eq, class Hash>
class HashTable {
public:
    HashTable() : m_rep(32) {}
    virtual ~HashTable() {}

    bool insert(K const& key, T const& value) {
        return m_rep.insert(Hash::hash(key), new Bucket(key, value), &key);
    }

    // The value of the key, or null when it is not there.
    T* lookup(K const& key) {
        _BucketBase* const found = m_rep.lookup(Hash::hash(key), &key);
        return found ? &static_cast<Bucket*>(found)->value() : nullptr;
    }
    T const* lookup(K const& key) const {
        _BucketBase const* const found = m_rep.lookup(Hash::hash(key), &key);
        return found ? &static_cast<Bucket const*>(found)->value() : nullptr;
    }

    bool contains(K const& key) const { return lookup(key) != nullptr; }

    HashTable(HashTable const&) = delete;
    HashTable& operator=(HashTable const&) = delete;

private:
    typedef _Bucket<K, T, Eq> Bucket;

    _HashTableRep m_rep;
};

template <class K, class V, class Eq, class Hash>
class OrderedHashTable {
public:
    OrderedHashTable() {}

    // Adds the pair at the end; false, and the table unchanged, when the key
    // is there already (the stored value stays, the new one is dropped).
    bool insert(K const& key, V const& value) {
        if (m_index.contains(key)) {
            return false;
        }
        m_index.insert(key, m_keys.size());
        m_keys.append(key);
        m_values.append(value);
        return true;
    }

    bool contains(K const& key) const { return m_index.contains(key); }

    V& operator[](K const& key) {
        Uint32 const* const position = m_index.lookup(key);
        if (!position) {
            throw HashKeyMissing(key);
        }
        return m_values[*position];
    }

    Uint32 size() const { return m_keys.size(); }

    V& operator[](Uint32 index) {
        ORV_ASSERT(index < size(), "OrvOrderedHashTable");
        return m_values[index];
    }
    V const& operator[](Uint32 index) const {
        ORV_ASSERT(index < size(), "OrvOrderedHashTable");
        return m_values[index];
    }

    Array<K> const& keys() const { return m_keys; }
    Array<V> const& values() const { return m_values; }

    OrderedHashTable(OrderedHashTable const&) = delete;
    OrderedHashTable& operator=(OrderedHashTable const&) = delete;

private:
    HashTable<K, Uint32, Eq, Hash> m_index;
    Array<K> m_keys;
    Array<V> m_values;
};

}  // namespace orv
