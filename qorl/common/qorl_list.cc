// Generic singly linked lists of controller and adapter records.
#include "qorl_adapter.h"
#include "qorl_int.h"

namespace {

template <class T> T *tail(T *n)
{
	while (n->next)
		n = n->next;
	return n;
}

} // namespace

extern "C" void list_append(void *head, void *node, ad_ioc e_type)
{
	if (!head || !node)
		return;
	if (e_type == e_ic)
		tail(static_cast<qorl_t *>(head))->next = static_cast<qorl_t *>(node);
	else
		tail(static_cast<qorl_adapter_t *>(head))->next = static_cast<qorl_adapter_t *>(node);
}

extern "C" void *find(void *head, int id, ad_ioc e_type)
{
	if (e_type == e_ic) {
		for (auto *n = static_cast<qorl_t *>(head); n; n = n->next)
			if (n->id == id)
				return n;
	} else {
		for (auto *n = static_cast<qorl_adapter_t *>(head); n; n = n->next)
			if (n->id == id)
				return n;
	}
	return nullptr;
}

extern "C" void list_free(void *head, ad_ioc e_type)
{
	if (e_type == e_ic) {
		qorl::free_chain(static_cast<qorl_t *>(head));
		return;
	}
	auto *a = static_cast<qorl_adapter_t *>(head);
	while (a) {
		qorl_adapter_t *next = a->next;
		qorl::free_chain(a->fcioc_list);
		qorl::free_chain(a->ethioc_list);
		std::free(a);
		a = next;
	}
}
