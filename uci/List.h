// SPDX-License-Identifier: Apache-2.0
// A singly linked list through the records' own `next`. The records live in an arena, so nothing is freed.
#pragma once

namespace qrnuci
{

template <typename Record>
class List
{
  public:
    class Iterator
    {
      public:
        explicit Iterator(Record* record) : record_(record) {}
        Record& operator*() const { return *record_; }
        Iterator& operator++()
        {
            record_ = record_->next;
            return *this;
        }
        bool operator!=(const Iterator& other) const { return record_ != other.record_; }

      private:
        Record* record_;
    };

    [[nodiscard]] Iterator begin() const { return Iterator{first_}; }
    [[nodiscard]] Iterator end() const { return Iterator{nullptr}; }
    [[nodiscard]] bool empty() const { return first_ == nullptr; }

    void append(Record& record)
    {
        record.next = nullptr;
        *last_ = &record;
        last_ = &record.next;
    }

    /// Puts a record behind the first `position` others.
    void insert(Record& record, int position)
    {
        Record** place = &first_;
        while (*place != nullptr && position-- > 0) {
            place = &(*place)->next;
        }
        record.next = *place;
        *place = &record;
        if (record.next == nullptr) {
            last_ = &record.next;
        }
    }

    /// Takes every record out for which this holds.
    template <typename Predicate>
    void remove_if(Predicate holds)
    {
        Record** place = &first_;
        while (*place != nullptr) {
            if (holds(**place)) {
                *place = (*place)->next;
            } else {
                place = &(*place)->next;
            }
        }
        last_ = place;
    }

    void clear()
    {
        first_ = nullptr;
        last_ = &first_;
    }

    List() = default;
    List(const List&) = delete;
    List& operator=(const List&) = delete;

  private:
    Record* first_ = nullptr;
    Record** last_ = &first_;
};

} // namespace qrnuci
